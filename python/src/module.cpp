#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "requests.h"
#include "results.h"
#include "xem/fit/card.h"
#include "xem/fit/compare.h"
#include "xem/fit/fit.h"
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
  Fit::Tests tests;
  Fit::Options options;
};

Request RequestFrom(const std::string& models, const py::list& curves, const py::dict& given) {
  Keywords keywords(given);
  Request request;
  std::vector<GivenCurve> measured = CurvesFrom(curves);
  request.choices = ChoicesFrom(models, measured);
  request.options = OptionsFrom(keywords);
  const Fit::ModelInfo& model = *Fit::FindModel(request.choices.front().name);
  request.tests = TestsFrom(model, std::move(measured), keywords);
  keywords.RefuseOthers("models of " + model.family);
  return request;
}

Held FitOne(const std::string& model, const py::list& curves, const py::dict& given) {
  const Request request = RequestFrom(model, curves, given);
  if (request.choices.size() != 1) {
    throw Fit::Error(Fit::ErrorKind::BadInput, "\"" + model + "\" names several models; compare() takes them");
  }
  const py::gil_scoped_release released;
  return std::make_shared<Fit::Result>(Fit::Fit(request.choices.front(), request.tests, request.options));
}

py::dict CompareAll(const std::string& models, const py::list& curves, const py::dict& given) {
  const Request request = RequestFrom(models, curves, given);
  Fit::Comparison comparison;
  {
    const py::gil_scoped_release released;
    std::vector<Fit::Candidate> candidates;
    for (const Fit::ModelChoice& choice : request.choices) {
      candidates.push_back(
          {choice.Label(), [&request, choice] { return Fit::Fit(choice, request.tests, request.options); }});
    }
    comparison = Fit::Compare(candidates);
  }
  py::list rows;
  for (Fit::Compared& one : comparison.candidates) {
    const std::string outcome = one.result ? one.Outcome() : one.failure;
    py::object result = py::none();
    if (one.result) result = py::cast(std::make_shared<Fit::Result>(std::move(*one.result)));
    rows.append(py::make_tuple(one.label, result, outcome, one.freeParameters, one.difference));
  }
  return py::dict("rows"_a = rows, "proposed"_a = comparison.proposed, "notes"_a = comparison.Notes());
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
  module.def("models", &Catalogue);
  module.def("families", &Xem::Fit::ModelFamilies);
  module.def("card_targets", &Xem::Fit::CardTargets);
  module.def(
      "parameters",
      [](const std::string& model, int terms) { return ParametersOf(Xem::Fit::ModelParameters(model, terms)); },
      py::arg("model"), py::arg("terms") = 0);
}
