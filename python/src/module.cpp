#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "requests.h"
#include "results.h"
#include "xem/fit/card.h"
#include "xem/fit/compare.h"
#include "xem/fit/fit.h"
#include "xem/fit/summary.h"
#include "xem/version.h"

namespace py = pybind11;

namespace Xem::Python {
namespace {

using namespace py::literals;
using Held = std::shared_ptr<Fit::Result>;

const char* ClassOf(Fit::ErrorKind kind) {
  switch (kind) {
    case Fit::ErrorKind::BadInput:
      return "BadInput";
    case Fit::ErrorKind::BadData:
      return "BadData";
    case Fit::ErrorKind::NotConverged:
      return "NotConverged";
    case Fit::ErrorKind::NotIdentifiable:
      return "NotIdentifiable";
  }
  return "Error";
}

void Translate(std::exception_ptr thrown) {
  try {
    if (thrown) std::rethrow_exception(thrown);
  } catch (const Fit::Error& error) {
    const py::object type = py::module_::import("xemfit._errors").attr(ClassOf(error.Kind()));
    PyErr_SetObject(type.ptr(), py::str(error.what()).ptr());
  }
}

/// What a fit or a comparison is asked for.
struct Request {
  std::vector<Fit::ModelChoice> choices;
  Fit::ReadTests read;
  Fit::Options options;

  std::vector<std::string> digests;  ///< of the files, in the order of the inputs; empty for other tests

  Request(const std::string& models, const py::list& curves, const py::dict& given) {
    Keywords keywords(given);
    for (const py::handle& curve : curves) {
      const auto entries = py::reinterpret_borrow<py::dict>(curve);
      digests.push_back(entries.contains("sha256") ? entries["sha256"].cast<std::string>() : "");
    }
    std::vector<Fit::TestTable> tables = TablesFrom(curves, keywords);
    choices = ChoicesFrom(models, tables);
    options = OptionsFrom(keywords);
    const bool asked = given.contains("residual");
    const Fit::ModelInfo& model = *Fit::FindModel(choices.front().name);
    read = TestsFrom(model, std::move(tables), keywords);
    // Storage and loss differ by decades.
    if (!asked && std::holds_alternative<Fit::DynamicData>(read.tests)) options.residual = Fit::Residual::Relative;
    keywords.RefuseOthers("models of " + model.family);
  }

  Fit::Result FitTo(const Fit::ModelChoice& choice) const { return Fit::Fit(choice, read.tests, options); }

  /// A result with what is to be told of its tests.
  Held Told(Fit::Result result) const {
    result.notes.insert(result.notes.begin(), read.notes.begin(), read.notes.end());
    for (std::size_t i = 0; i < read.inputs.size(); ++i) {
      if (digests[i].empty()) continue;
      result.inputs.push_back(read.inputs[i]);
      Fit::Input& input = result.inputs.back();
      input.sha256 = digests[i];
      for (const Fit::CurveResult& curve : result.curves) {
        if (curve.name == input.curve && curve.measures.points > 0) input.rows = curve.measures.points;
      }
    }
    return std::make_shared<Fit::Result>(std::move(result));
  }
};

Held FitOne(const std::string& model, const py::list& curves, const py::dict& given) {
  const Request request(model, curves, given);
  if (request.choices.size() != 1) {
    throw Fit::Error(Fit::ErrorKind::BadInput, "\"" + model + "\" names several models; compare() takes them");
  }
  const py::gil_scoped_release released;
  return request.Told(request.FitTo(request.choices.front()));
}

py::dict CompareAll(const std::string& models, const py::list& curves, const py::dict& given) {
  const Request request(models, curves, given);
  Fit::Comparison comparison;
  {
    const py::gil_scoped_release released;
    std::vector<Fit::Candidate> candidates;
    for (const Fit::ModelChoice& choice : request.choices) {
      candidates.push_back({choice.Label(), [&request, choice] { return request.FitTo(choice); }});
    }
    comparison = Fit::Compare(candidates);
  }
  const std::vector<std::string> notes = comparison.Notes();
  py::list rows;
  for (Fit::Compared& one : comparison.candidates) {
    const std::string outcome = one.result ? one.Outcome() : one.failure;
    const bool proposed = &one == &comparison.Proposed();
    py::object result = py::none();
    if (one.result) {
      Held told = request.Told(std::move(*one.result));
      if (proposed) told->notes.insert(told->notes.end(), notes.begin(), notes.end());
      result = py::cast(told);
    }
    rows.append(py::make_tuple(one.label, result, outcome, one.freeParameters, one.difference));
  }
  return py::dict("rows"_a = rows, "proposed"_a = comparison.proposed, "notes"_a = notes);
}

py::list ParametersOf(const std::vector<Fit::ParameterInfo>& infos) {
  py::list list;
  for (const Fit::ParameterInfo& one : infos) {
    list.append(py::dict("name"_a = one.name, "unit"_a = one.unit, "lower"_a = one.lower, "upper"_a = one.upper,
                         "meaning"_a = one.meaning));
  }
  return list;
}

py::list Catalogue() {
  py::list all;
  for (const Fit::ModelInfo& info : Fit::Models()) {
    py::list curves;
    for (const Fit::CurveInfo& one : info.curves) {
      curves.append(py::dict("name"_a = one.name, "x"_a = one.x, "x_unit"_a = one.xUnit, "y"_a = one.y,
                             "y_unit"_a = one.yUnit, "companion"_a = one.companion, "logarithmic"_a = one.logarithmic));
    }
    all.append(py::dict("name"_a = info.name, "title"_a = info.title, "family"_a = info.family,
                        "fewest_terms"_a = info.fewestTerms, "most_terms"_a = info.mostTerms,
                        "usual_terms"_a = info.usualTerms, "variants"_a = info.variants, "curves"_a = curves,
                        "parameters"_a = ParametersOf(info.parameters), "formula"_a = info.formula,
                        "source"_a = info.source, "export"_a = info.plainExport, "page"_a = info.page));
  }
  return all;
}

/// The summary of a batch: rows, columns with their numbers, statistics and units. A specimen is its name, an exit
/// code, a message and, where there is one, its result.
py::dict Summarise(const py::list& specimens, const py::dict& given) {
  Fit::Gates gates;
  Keywords keywords(given);
  keywords.Read("min_r2", gates.leastR2);
  keywords.Read("max_dropped", gates.mostDropped);
  keywords.Read("allow_unclear", gates.allowUnclear);
  Fit::Summary summary;
  for (const py::handle& one : specimens) {
    const auto specimen = py::reinterpret_borrow<py::tuple>(one);
    Fit::Outcome outcome;
    if (!specimen[3].is_none()) outcome = Fit::OutcomeOf(*specimen[3].cast<Held>());
    outcome.exitCode = specimen[1].cast<int>();
    outcome.message = specimen[2].cast<std::string>();
    summary.Add(specimen[0].cast<std::string>(), outcome, Fit::DoubtsAbout(outcome, gates));
  }
  summary.Finish();
  py::list rows;
  for (const Fit::Summary::Row& row : summary.Rows()) {
    std::string outlierIn;
    for (const std::string& name : row.outlierIn) outlierIn += (outlierIn.empty() ? "" : " ") + name;
    py::object code = py::none();
    if (row.exitCode >= 0) code = py::int_(row.exitCode);
    rows.append(py::make_tuple(row.specimen, row.status, code, row.model, outlierIn, row.message));
  }
  py::list columns;
  for (const Fit::SummaryColumn& column : summary.Columns()) {
    const Fit::SummaryColumn::Statistics s = column.Of(summary.Counted());
    const double number = column.hasStatistics ? s.number : std::numeric_limits<double>::quiet_NaN();
    columns.append(py::make_tuple(column.name, column.values,
                                  py::make_tuple(s.mean, s.deviation, s.median, s.robustDeviation, number),
                                  column.UnitText()));
  }
  return py::dict(
      "rows"_a = rows, "columns"_a = columns,
      "statistics"_a = py::make_tuple("mean", "standard_deviation", "median", "robust_deviation", "number"));
}

}  // namespace
}  // namespace Xem::Python

PYBIND11_MODULE(_core, module) {
  using namespace Xem::Python;
  module.doc() = "The fit layer of XemMaterialUtil.";
  module.attr("__version__") = XEM_VERSION;
  py::register_exception_translator(&Translate);
  AddResult(module);
  module.def("fit", &FitOne, py::arg("model"), py::arg("curves"), py::arg("keywords"));
  module.def("compare", &CompareAll, py::arg("models"), py::arg("curves"), py::arg("keywords"));
  module.def("summarise", &Summarise, py::arg("specimens"), py::arg("gates"));
  module.def("models", &Catalogue);
  module.def("families", &Xem::Fit::ModelFamilies);
  module.def("card_targets", &Xem::Fit::CardTargets);
  module.def(
      "parameters",
      [](const std::string& model, int terms) { return ParametersOf(Xem::Fit::ModelParameters(model, terms)); },
      py::arg("model"), py::arg("terms") = 0);
}
