#include "support/curves.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Xem::Testing {
namespace {

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> fields;
  std::stringstream stream(line);
  for (std::string field; std::getline(stream, field, ',');) fields.push_back(field);
  return fields;
}

std::size_t ColumnOf(const std::vector<std::string>& header, const std::string& name) {
  const auto found = std::find(header.begin(), header.end(), name);
  if (found == header.end()) throw std::runtime_error("no column " + name);
  return static_cast<std::size_t>(found - header.begin());
}

}  // namespace

std::vector<_T_FUNT_BASE> BundledCurve(const std::string& file, const std::string& x, const std::string& y,
                                       const std::string& filterColumn, const std::string& filterValue) {
  std::ifstream stream(std::string(XEM_DATA_DIR) + "/" + file);
  if (!stream) throw std::runtime_error("cannot read " + file);
  std::vector<std::string> header;
  std::vector<_T_FUNT_BASE> points;
  for (std::string line; std::getline(stream, line);) {
    if (line.empty() || line[0] == '#') continue;
    const std::vector<std::string> fields = Split(line);
    if (header.empty()) {
      header = fields;
      continue;
    }
    if (!filterColumn.empty() && fields[ColumnOf(header, filterColumn)] != filterValue) continue;
    points.emplace_back(std::stod(fields[ColumnOf(header, x)]), std::stod(fields[ColumnOf(header, y)]));
  }
  return points;
}

std::vector<std::vector<_T_FUNT_BASE>> TreloarCurves() {
  std::vector<std::vector<_T_FUNT_BASE>> curves;
  for (const char* mode : {"uniaxial", "equibiaxial", "pure_shear"}) {
    curves.push_back(BundledCurve(std::string("treloar1944_") + mode + ".csv", "nominal_strain", "nominal_stress_MPa"));
  }
  return curves;
}

void Fill(PointArray& array, std::span<const _T_FUNT_BASE> points) {
  array.RemoveAll();
  for (const _T_FUNT_BASE& point : points) array.Add(point);
}

void Fill(DoubleArray& array, std::span<const double> values) {
  array.RemoveAll();
  for (const double value : values) array.Add(value);
}

void Fill(DoubleArray& array, std::initializer_list<double> values) {
  Fill(array, std::span<const double>(values.begin(), values.size()));
}

std::vector<double> Values(const DoubleArray& array) { return {array.GetData(), array.GetData() + array.GetSize()}; }

std::vector<_T_FUNT_BASE> Values(const PointArray& array) {
  return {array.GetData(), array.GetData() + array.GetSize()};
}

}  // namespace Xem::Testing
