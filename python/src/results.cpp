#include "results.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "xem/fit/card.h"
#include "xem/fit/compare.h"
#include "xem/fit/json.h"
#include "xem/fit/model.h"

namespace py = pybind11;

namespace Xem::Python {
namespace {

using Fit::Result;
using Numbers = py::array_t<double, py::array::c_style | py::array::forcecast>;
using Held = std::shared_ptr<Result>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Looks at numbers of a result, which it keeps alive.
py::array View(const std::vector<double>& numbers, const py::object& owner) {
  py::array_t<double> array(static_cast<py::ssize_t>(numbers.size()), numbers.data(), owner);
  array.attr("setflags")(py::arg("write") = false);
  return array;
}

py::array_t<double> Square(const std::vector<std::vector<double>>& rows) {
  const auto size = static_cast<py::ssize_t>(rows.size());
  py::array_t<double> array({size, size});
  for (py::ssize_t i = 0; i < size; ++i) {
    for (py::ssize_t j = 0; j < size; ++j) {
      array.mutable_at(i, j) = rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
    }
  }
  return array;
}

py::list Parameters(const Result& result) {
  py::list list;
  for (const Fit::Parameter& one : result.parameters) {
    py::object bootstrap = py::none();
    if (result.options.bootstrap > 0) bootstrap = py::make_tuple(one.bootstrapLower, one.bootstrapUpper);
    list.append(py::make_tuple(one.name, one.value, one.standardError, py::make_tuple(one.lower, one.upper), one.unit,
                               one.held, one.atBound, one.identifiable, bootstrap));
  }
  return list;
}

py::dict Measures(const Fit::Measures& measures) {
  using namespace py::literals;
  return py::dict("points"_a = measures.points, "dropped"_a = measures.dropped, "sse"_a = measures.sse,
                  "rmse"_a = measures.rmse, "r2"_a = measures.r2, "aicc"_a = measures.aicc,
                  "objective"_a = measures.objective, "unit"_a = measures.unit);
}

py::list Curves(const py::object& self) {
  using namespace py::literals;
  const Result& result = *self.cast<Held>();
  py::list list;
  for (const Fit::CurveResult& curve : result.curves) {
    list.append(py::dict("name"_a = curve.name, "measures"_a = Measures(curve.measures), "x"_a = View(curve.x, self),
                         "measured"_a = View(curve.measured, self), "fitted"_a = View(curve.fitted, self),
                         "companion"_a = View(curve.companion, self), "lower"_a = View(curve.lower, self),
                         "upper"_a = View(curve.upper, self), "conditions"_a = curve.conditions));
  }
  return list;
}

py::array_t<double> Like(const Numbers& x) {
  return py::array_t<double>(std::vector<py::ssize_t>(x.shape(), x.shape() + x.ndim()));
}

py::array_t<double> Evaluate(const Result& result, const std::string& curve, const Numbers& x) {
  if (!result.evaluate) throw Fit::Error(Fit::ErrorKind::BadInput, "this result cannot be evaluated");
  py::array_t<double> y = Like(x);
  const double* from = x.data();
  double* to = y.mutable_data();
  const py::ssize_t count = x.size();
  const py::gil_scoped_release released;
  for (py::ssize_t i = 0; i < count; ++i) to[i] = result.evaluate(curve, from[i]);
  return y;
}

/// Lower and upper ends, NaN where there is no band.
py::tuple BandOver(const Result& result, const std::string& curve, const Numbers& x) {
  py::array_t<double> lower = Like(x);
  py::array_t<double> upper = Like(x);
  const double* from = x.data();
  double* below = lower.mutable_data();
  double* above = upper.mutable_data();
  const py::ssize_t count = x.size();
  {
    const py::gil_scoped_release released;
    const Fit::Band band = Fit::ConfidenceBand(result);
    for (py::ssize_t i = 0; i < count; ++i) {
      const Fit::Interval interval = band ? band(curve, from[i]) : Fit::Interval{kNaN, kNaN};
      below[i] = interval.lower;
      above[i] = interval.upper;
    }
  }
  return py::make_tuple(std::move(lower), std::move(upper));
}

/// A result on its way between processes: its document without the long arrays, and these as they are in memory.
class Luggage {
 public:
  static py::tuple Pack(const Result& result) {
    Result small = result;
    py::bytes numbers;
    {
      std::string packed;
      ForEachArray(small, [&](std::vector<double>& array) {
        const std::size_t size = array.size();
        packed.append(reinterpret_cast<const char*>(&size), sizeof size);
        packed.append(reinterpret_cast<const char*>(array.data()), size * sizeof(double));
        array.clear();
      });
      numbers = py::bytes(packed);
    }
    return py::make_tuple(py::bytes(Fit::ToJson(small)), result.covariance.size(), result.correlation.size(), numbers);
  }

  static Held Unpack(const py::tuple& state) {
    const auto document = state[0].cast<std::string>();
    const auto packed = state[3].cast<std::string>();
    auto result = std::make_shared<Result>(Fit::FromJson(document, "the pickled result"));
    result->covariance.resize(state[1].cast<std::size_t>());
    result->correlation.resize(state[2].cast<std::size_t>());
    std::size_t at = 0;
    const auto take = [&](void* to, std::size_t size) {
      if (packed.size() - at < size) throw Fit::Error(Fit::ErrorKind::BadData, "the pickled result is damaged");
      std::memcpy(to, packed.data() + at, size);
      at += size;
    };
    ForEachArray(*result, [&](std::vector<double>& array) {
      std::size_t size = 0;
      take(&size, sizeof size);
      array.resize(std::min(size, packed.size() / sizeof(double)));
      take(array.data(), size * sizeof(double));
    });
    return result;
  }

 private:
  static void ForEachArray(Result& result, const std::function<void(std::vector<double>&)>& visit) {
    for (auto* square : {&result.covariance, &result.correlation}) {
      for (std::vector<double>& row : *square) visit(row);
    }
    for (Fit::CurveResult& curve : result.curves) {
      for (auto* array : {&curve.x, &curve.measured, &curve.fitted, &curve.companion, &curve.lower, &curve.upper}) {
        visit(*array);
      }
    }
  }
};

Held FromDocument(const std::string& text, const std::string& source) {
  const py::gil_scoped_release released;
  return std::make_shared<Result>(Fit::FromJson(text, source));
}

}  // namespace

void AddResult(py::module_& module) {
  py::class_<Result, Held>(module, "Result")
      .def_readonly("model", &Result::model)
      .def_readonly("terms", &Result::terms)
      .def_property_readonly("label",
                             [](const Result& result) {
                               return Fit::ModelChoice{result.model, result.terms}.Label();
                             })
      .def_readonly("formula", &Result::formula)
      .def_property_readonly(
          "residual",
          [](const Result& result) { return result.residual == Fit::Residual::Absolute ? "absolute" : "relative"; })
      .def_readonly("converged", &Result::converged)
      .def_readonly("status", &Result::status)
      .def_readonly("iterations", &Result::iterations)
      .def_readonly("notes", &Result::notes)
      .def_readonly("version", &Result::version)
      .def_property_readonly("parameters", &Parameters)
      .def_property_readonly("covariance", [](const Result& result) { return Square(result.covariance); })
      .def_property_readonly("correlation", [](const Result& result) { return Square(result.correlation); })
      .def_property_readonly("measures", [](const Result& result) { return Measures(result.measures); })
      .def_property_readonly("curves", &Curves)
      .def_property_readonly("derived",
                             [](const Result& result) {
                               py::dict derived;
                               for (const auto& [name, value] : result.derived) {
                                 const auto unit = result.derivedUnits.find(name);
                                 derived[py::str(name)] = py::make_tuple(
                                     value, unit == result.derivedUnits.end() ? std::string() : unit->second);
                               }
                               return derived;
                             })
      .def_property_readonly("level", [](const Result& result) { return result.options.level; })
      .def_property_readonly("band_wanted", [](const Result& result) { return result.options.band; })
      .def("evaluate", &Evaluate, py::arg("curve"), py::arg("x"))
      .def("band", &BandOver, py::arg("curve"), py::arg("x"))
      .def("stable_range",
           [](const Result& result, const std::string& curve) {
             const Fit::StableRange range = Fit::StableStrains(result, curve);
             return py::make_tuple(range.lower, range.upper);
           })
      .def(
          "to_json", [](const Result& result, const std::string& command) { return Fit::ToJson(result, command); },
          py::arg("command") = "")
      .def("card", &Fit::MaterialCard, py::arg("target"), py::arg("name") = "")
      .def("pack", &Luggage::Pack);
  module.def("unpack", &Luggage::Unpack, py::arg("state"));
  module.def("load", &FromDocument, py::arg("text"), py::arg("source"));
}

}  // namespace Xem::Python
