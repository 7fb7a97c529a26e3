#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "command/values.h"
#include "text.h"
#include "verbs/compare.h"
#include "verbs/verb.h"
#include "verbs/verbs.h"
#include "xem/fit/soil.h"

namespace Xem::Tool {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

constexpr const char* kConductivity = "conductivity";

class RetentionFit : public Verb {
 public:
  RetentionFit()
      : Verb(
            {"retention",
             "fit",
             "Fit water retention of unsaturated soil",
             "xemfit retention fit --model van-genuchten unsoda_retention.csv --select soil=4521 --plot fit.png\n"
             "xemfit retention fit --model all unsoda_retention.csv --grading unsoda_grain_size.csv --select soil=4670 "
             "--porosity 0.463\n"
             "xemfit retention fit --model van-genuchten unsoda_retention.csv --select soil=4521 --conductivity 25cm/d "
             "--plot k.png\n"
             "xemfit retention fit --grading unsoda_grain_size.csv --select soil=4670 --porosity 0.463 --grid "
             "1:1500:100 "
             "--curves curve.csv",
             {Roles::kSuction, Roles::kWaterContent, Roles::kSaturation, Roles::kDiameter, Roles::kPassing,
              Roles::kPorosity, Roles::kParticleDensity}},
            Shares::Fit) {}

 private:
  void DeclareOwn(Options& options) override {
    options.Text("retention", retention_, "Measured curve: suction in kPa, cm, m, pF, ... and theta or saturation",
                 "FILE");
    options
        .Text("--model", models_,
              "One of " + Join(Fit::ModelNames("retention"), ", ") +
                  ", several separated by commas, or all: these are compared",
              "MODEL")
        .Suggest(Fit::ModelNames("retention"))
        .ShowDefault();
    options.Text("--grading", grading_, "Grading: diameter in mm or um, passing as fraction or percent", "FILE");
    options.Choice<std::optional<Fit::RetentionPoints>>("--points", points_,
                                                        "What is fitted; measured points when there is a curve",
                                                        {{"measured", Fit::RetentionPoints::Measured},
                                                         {"grading", Fit::RetentionPoints::Grading},
                                                         {"both", Fit::RetentionPoints::Both}});
    options.Number("--porosity", porosity_, "Between 0 and 1, for the grading and for saturations", 0.0);
    options.Number("--particle-density", particleDensity_, "In Mg/m3, for the grading; 2.65 when left out", 0.0);
    options.Number("--exponent", exponent_, "Of Arya and Paris, for the grading; 1.38 when left out", 0.0);
    options.Text("--conductivity", conductivity_,
                 "Saturated conductivity, with its unit if you like, such as 10.6cm/d: adds Mualem's over suction",
                 "KS[UNIT]");
    options.Text("--grid", grid_, "Adds the fitted curve at suctions equally spaced in their logarithm",
                 "FROM:TO:COUNT");
  }

  Report Run() override {
    const std::vector<double> grid = Grid();
    const std::vector<Fit::ModelChoice> choices = ModelsNamed(models_, "--model", "retention");
    std::vector<std::string> notes;
    Fit::RetentionData data = ReadData(notes);
    UseConductivity(data);
    Report report = FitModels(choices, data, FitOptions());
    const std::string unit = data.suctionUnit == "pF" ? "cm" : data.suctionUnit;
    report.panels = {{"", {"suction", unit, true, false}, {"water content", "m³/m³", false, true}, {}}};
    report.panels.front().oneLine = true;
    for (const Fit::CurveResult& curve : report.result.curves) {
      if (curve.name != kConductivity) report.panels.front().curves.push_back(curve.name);
    }
    AddGrid(grid, report.result);
    AddConductivity(grid, unit, data.conductivityUnit, report);
    if (!Output().plot.empty() && std::count(data.retention.x.begin(), data.retention.x.end(), 0.0) > 0 &&
        data.suctionUnit != "pF") {
      notes.push_back("points at suction 0 have no place on the logarithmic axis of the plot");
    }
    report.result.notes.insert(report.result.notes.begin(), notes.begin(), notes.end());
    return report;
  }

  std::vector<double> Grid() const {
    if (grid_.empty()) return {};
    std::vector<double> grid = ParseGrid(grid_, "--grid");
    if (!(std::min(grid.front(), grid.back()) > 0.0)) {
      throw Failure(ExitCode::Usage, "--grid: suctions must be positive");
    }
    // Through powers of ten, so that decades come out as such.
    const double from = std::log10(grid.front());
    const double step = (std::log10(grid.back()) - from) / std::max(1.0, static_cast<double>(grid.size()) - 1.0);
    for (std::size_t i = 1; i + 1 < grid.size(); ++i) grid[i] = std::pow(10.0, from + static_cast<double>(i) * step);
    return grid;
  }

  static void AddGrid(const std::vector<double>& grid, Fit::Result& result) {
    if (grid.empty()) return;
    Fit::CurveResult curve;
    curve.name = "grid";
    curve.x = grid;
    curve.measures.r2 = curve.measures.rmse = curve.measures.sse = kUnknown;
    for (const double suction : grid) curve.fitted.push_back(result.evaluate("retention", suction));
    result.curves.push_back(std::move(curve));
  }

  /// Its picture; over the grid where one was asked for.
  static void AddConductivity(const std::vector<double>& grid, const std::string& suctionUnit, const std::string& unit,
                              Report& report) {
    for (Fit::CurveResult& curve : report.result.curves) {
      if (curve.name != kConductivity) continue;
      if (!grid.empty()) {
        curve.x = grid;
        curve.fitted.clear();
        for (const double suction : grid) curve.fitted.push_back(report.result.evaluate(kConductivity, suction));
        AddBand(report.result, curve);
      }
      report.panels.front().title = "water content";
      report.panels.push_back({"conductivity",
                               {"suction", suctionUnit, true, false},
                               {"hydraulic conductivity", unit, true, false},
                               {kConductivity}});
    }
  }

  /// Anew over other abscissae, where there is one.
  static void AddBand(const Fit::Result& result, Fit::CurveResult& curve) {
    if (curve.lower.empty()) return;
    curve.lower.clear();
    curve.upper.clear();
    const Fit::Band band = Fit::ConfidenceBand(result);
    for (const double x : curve.x) {
      const Fit::Interval interval = band ? band(curve.name, x) : Fit::Interval{kUnknown, kUnknown};
      curve.lower.push_back(interval.lower);
      curve.upper.push_back(interval.upper);
    }
  }

  /// A positive number, and perhaps the name of a unit behind it.
  void UseConductivity(Fit::RetentionData& data) const {
    if (conductivity_.empty()) return;
    const char* const end = conductivity_.data() + conductivity_.size();
    double value = 0.0;
    const auto [rest, error] = std::from_chars(conductivity_.data(), end, value);
    const std::string unit(Trimmed(std::string_view(rest, static_cast<std::size_t>(end - rest))));
    const bool named = unit.empty() || std::isalpha(static_cast<unsigned char>(unit.front())) != 0;
    if (error != std::errc() || !named || !(value > 0.0) || !std::isfinite(value)) {
      throw Failure(ExitCode::Usage,
                    fmt::format("--conductivity: {} is not a positive number, perhaps with a unit, such as 10.6cm/d",
                                Quoted(conductivity_)));
    }
    data.saturatedConductivity = value;
    data.conductivityUnit = unit;
  }

  Fit::RetentionData ReadData(std::vector<std::string>& notes) {
    if (retention_.empty() && grading_.empty()) {
      throw Failure(ExitCode::Usage, "give a retention curve, or a grading by --grading");
    }
    Fit::RetentionData data;
    data.porosity = porosity_;
    if (!std::isnan(particleDensity_)) data.particleDensity = particleDensity_;
    data.exponent = exponent_;
    if (!retention_.empty()) ReadRetention(data, notes);
    if (!grading_.empty()) ReadGrading(data, notes);
    data.points = points_.value_or(retention_.empty() ? Fit::RetentionPoints::Grading : Fit::RetentionPoints::Measured);
    return data;
  }

  void ReadRetention(Fit::RetentionData& data, std::vector<std::string>& notes) {
    Fit::Table table = ReadTable(retention_);
    Fit::ColumnNames named;
    for (const auto& [role, axis] : {std::pair(&Roles::kSaturation, '\0'), {&Roles::kWaterContent, 'y'}}) {
      if (const auto wanted = WantedColumn(*role, axis)) named.emplace(role->name, *wanted);
    }
    const bool saturation = Fit::HoldsSaturation(table, named);
    MeasuredCurve read = CurveFrom(std::move(table), "retention", Roles::kSuction,
                                   saturation ? Roles::kSaturation : Roles::kWaterContent);
    if (saturation) data.water = Fit::WaterMeasure::Saturation;
    data.suctionUnit = Fit::SoilUnit(read, Fit::SuctionUnits(), "kPa", "suction", notes);
    Fit::RequireVolumetric(read);
    UseMetadata(read.table, data);
    data.retention = std::move(read.curve);
  }

  void ReadGrading(Fit::RetentionData& data, std::vector<std::string>& notes) {
    MeasuredCurve read = ReadCurve(grading_, "grading", Roles::kDiameter, Roles::kPassing);
    data.diameterUnit = Fit::SoilUnit(read, {"mm", "um", "cm", "m"}, "mm", "diameter", notes);
    UseMetadata(read.table, data);
    data.grading = std::move(read.curve);
  }

  /// `# porosity: 0.45` and `# particle_density: 2.7` of a file, unless the command line says otherwise.
  void UseMetadata(const Fit::Table& table, Fit::RetentionData& data) const {
    const auto porosity = Fit::MetadataQuantity(table, Roles::kPorosity);
    const auto density = Fit::MetadataQuantity(table, Roles::kParticleDensity);
    if (porosity && std::isnan(porosity_)) data.porosity = porosity->value;
    if (density && std::isnan(particleDensity_)) data.particleDensity = density->value;
  }

  std::string retention_;
  std::string models_ = "van-genuchten";
  std::string grading_;
  std::optional<Fit::RetentionPoints> points_;
  double porosity_ = kUnknown;
  double particleDensity_ = kUnknown;
  double exponent_ = 1.38;
  std::string conductivity_;
  std::string grid_;
};

}  // namespace

void AddRetentionVerbs(CommandList& commands) { commands.push_back(MakeCommand<RetentionFit>()); }

}  // namespace Xem::Tool
