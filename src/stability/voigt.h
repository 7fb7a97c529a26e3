#pragma once

#include <array>
#include <cstddef>

/// Small tensors of fixed size, without heap storage. Voigt order 11, 22, 33, 12, 23, 13; stresses hold their shear
/// components once, strains are doubled there.
namespace Xem::MaterialUtil {

using Matrix3 = std::array<std::array<double, 3>, 3>;  // [row][column]
using Vector6 = std::array<double, 6>;
using Matrix6 = std::array<std::array<double, 6>, 6>;

/// Tensor indices of each Voigt component.
inline constexpr std::array<std::array<std::size_t, 2>, 6> kVoigt{{{0, 0}, {1, 1}, {2, 2}, {0, 1}, {1, 2}, {0, 2}}};

/// Kirchhoff stress and its tangent against logarithmic strain (Jaumann rate).
struct Tangent {
  Matrix6 stiffness{};
  Vector6 stress{};
};

/// T of the push-forward F S F^T written as T s: T(ij, kl) = F_ik F_jl, plus F_il F_jk for k != l.
Matrix6 PushForward(const Matrix3& f);

Vector6 Multiply(const Matrix6& a, const Vector6& x);

/// T L T^T for a symmetric L.
Matrix6 Transform(const Matrix6& t, const Matrix6& l);

/// The map of a strain d to t d + d t, (d_ik t_jl + d_il t_jk + d_jk t_il + d_jl t_ik) / 2 in Voigt form: the stress
/// part of the Jaumann tangent.
Matrix6 StressTerms(const Vector6& stress);

}  // namespace Xem::MaterialUtil
