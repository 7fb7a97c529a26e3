#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "xem/fit/result.h"

namespace Xem::Tool {

/// Keys keep the order in which they are added.
using Json = nlohmann::ordered_json;

struct Axis {
  std::string label;
  std::string unit;
  bool logarithmic = false;
  bool fromZero = false;  ///< on x the fitted line begins at zero even where no point is measured, on y the axis does
};

/// A named point in a panel.
struct Mark {
  double x = 0.0;
  double y = 0.0;
  std::string label;
  std::string curve;  ///< whose colour it takes
};

/// A curve drawn for comparison that takes no part in the fit.
struct Overlay {
  std::string legend;
  std::vector<double> x, y;
  bool record = false;  ///< as measured, many points: a thin line
};

/// One set of axes with some curves of the result.
struct Panel {
  std::string title;
  Axis x;
  Axis y;
  std::vector<std::string> curves;  ///< names; empty: all
  std::vector<Overlay> overlays = {};
  std::vector<Mark> marks = {};
  std::string lines = "fitted";  ///< what the lines are, where there are measured points as well
  std::string band = {};         ///< what the band of curves is that bring their own
  bool oneLine = false;          ///< all curves share one fitted line, drawn over all their abscissae
};

/// A model of several that were fitted to the same data.
struct ComparedModel {
  std::string model;
  std::string status;  ///< the doubt about it, or why there is no fit
  struct Numbers {
    int freeParameters;
    double r2, aicc;
    double difference;  ///< of its AICc from the smallest
  };
  std::optional<Numbers> numbers;  ///< none where there is no fit
  bool proposed = false;
};

/// What a verb hands over for output. Table, JSON, curve file and plot are all made from it.
struct Report {
  Fit::Result result;
  std::vector<Panel> panels;
  std::vector<std::string> sections;    ///< blocks of text before the table, such as a comparison
  std::vector<std::string> appendices;  ///< blocks of text after the table and before the notes
  bool fitted = true;                   ///< false: there is no fit to tell of, the table is `sections` and notes alone
  std::vector<ComparedModel> comparison = {};  ///< empty where there was one model only
  std::function<void(Json&)> amend;            ///< adds further keys to the JSON document
  /// Curves that pictures show and nothing else; lines go through their own fitted values.
  std::vector<Fit::CurveResult> drawn = {};
  std::function<std::string(const std::string& command)> curveFile = {};  ///< where --curves writes another table
};

/// "polynomial:2", or the bare name where a model has no terms.
inline std::string ModelLabel(const Fit::Result& result) {
  return result.terms > 0 ? result.model + ":" + std::to_string(result.terms) : result.model;
}

}  // namespace Xem::Tool
