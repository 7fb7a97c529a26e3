#ifndef XEM_FIT_READING_H
#define XEM_FIT_READING_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "xem/fit/fit.h"
#include "xem/fit/roles.h"

/// @file
/// From a file as instruments and spreadsheets write it to a curve.
///
/// What can be read in one way only is read; where there are two readings, an Error names both and the option that
/// decides. All functions throw Error: BadData with file, line, column and remedy; BadInput for columns and choices
/// that a file does not have.
namespace Xem::Fit {

enum class DecimalSign { Automatic, Point, Comma };

struct ReadOptions {
  DecimalSign decimal = DecimalSign::Automatic;
  char separator = 0;             ///< comma, semicolon or tab; 0: the one that the header row shows
  int headerLine = 0;             ///< where the names of the columns stand, from 1; 0: found
  std::size_t fewestColumns = 2;  ///< that a table must have
  bool keepTexts = false;         ///< every cell as it was written, too, for tables that hold more than measurements
};

/// A cell that is not a finite number, or any cell of a table that keeps its texts.
struct TextCell {
  std::size_t row = 0;  ///< counted from 0
  std::string text;
};

struct Column {
  std::string name;                  ///< as the file has it
  std::string unit = {};             ///< from a row of units; a unit within the name is not told here
  std::vector<double> numbers = {};  ///< one per row, NaN where a cell is no number
  std::vector<TextCell> texts = {};  ///< by rising row; an empty cell has none
};

/// A file as columns: separated by comma, semicolon or tab; quoted fields as in RFC 4180, which may hold separators,
/// quotes and line ends; `#` comment lines, of which `# key: value` are kept as metadata; a preamble before the row of
/// names, a row of units below it.
struct Table {
  std::string source;  ///< the file as given, or "standard input"
  std::map<std::string, std::string> metadata = {};
  int headerLine = 0;
  std::vector<Column> columns = {};
  std::vector<int> lines = {};            ///< of each row in the source, from 1; where it begins
  bool decimalComma = false;              ///< numbers were written with it
  std::vector<std::string> remarks = {};  ///< on what was not plain: "decimal comma", "3 lines before the header"

  std::size_t RowCount() const { return lines.size(); }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const Column& column : columns) names.push_back(column.name);
    return names;
  }
};

/// The contents of a file, or of standard input for `-`, up to 160 MiB.
XEM_FIT_EXPORT std::string ReadInput(const std::string& path);
/// How messages call that input.
XEM_FIT_EXPORT std::string SourceName(const std::string& path);

/// A file in UTF-8, UTF-16 or Latin-1. Memory is bounded: what would take more than 256 MiB as a table is refused.
XEM_FIT_EXPORT Table ReadTable(const std::string& path, const ReadOptions& options = {});
XEM_FIT_EXPORT Table ParseTable(std::string text, const std::string& source, const ReadOptions& options = {});

/// A cell as it was written, or as the shortest text of its number where the table did not keep it.
XEM_FIT_EXPORT std::string CellText(const Table& table, std::size_t row, std::size_t column);
/// A cell as a finite number.
XEM_FIT_EXPORT double NumberAt(const Table& table, std::size_t row, std::size_t column);
/// True for empty cells and for those that say that there is no number, such as NA, nan and -.
XEM_FIT_EXPORT bool IsMissing(const Table& table, std::size_t row, std::size_t column);

/// Where the numbers of a role stand: quantity = convert(cell * scale + offset), in `unit` ("" for fractions and for
/// columns that name none). An unknown unit suffix is kept as it is.
struct ColumnChoice {
  std::size_t index = 0;
  std::string unit;
  double scale = 1.0;
  double offset = 0.0;
  double (*convert)(double) = nullptr;
  std::string_view accepted = {};  ///< the name of the role that the column goes by; empty for any other column

  double Quantity(double cell) const {
    const double value = cell * scale + offset;
    return convert != nullptr ? convert(value) : value;
  }
};

/// The column for a role by its name, or the column called `wanted`.
XEM_FIT_EXPORT ColumnChoice ChooseColumn(const Table& table, const Role& role,
                                         const std::optional<std::string>& wanted = std::nullopt);
/// The same for a column that a file need not have: nothing when no column fits.
XEM_FIT_EXPORT std::optional<ColumnChoice> FindColumn(const Table& table, const Role& role,
                                                      const std::optional<std::string>& wanted = std::nullopt);
/// True when a column's name fits the role.
XEM_FIT_EXPORT bool HasColumn(const Table& table, const Role& role);

/// The number of a `# key: value` line whose key names `role`, with its unit, such as `# stress_MPa: 500`.
struct Quantity {
  double value = 0.0;
  std::string unit;
};
XEM_FIT_EXPORT std::optional<Quantity> MetadataQuantity(const Table& table, const Role& role);

/// Keeps the rows whose cells equal the selected values, by column, as text or as numbers.
XEM_FIT_EXPORT void SelectRows(Table& table, const std::map<std::string, std::string>& selection);

/// A sentence when a table holds several tests one after another: when abscissae go back and forth in it but one way
/// only among the rows that agree in a further column, whose value changes from test to test. `rows`: where in the
/// table the abscissae stand.
XEM_FIT_EXPORT std::optional<std::string> SeveralTests(const Table& table, const std::vector<double>& abscissae,
                                                       const std::vector<std::size_t>& rows);

/// The usual spelling of a unit that is known ("MPa" for "mpa"), nothing for any other text.
XEM_FIT_EXPORT std::optional<std::string> KnownUnit(std::string_view text);
/// What a number in `from` is multiplied by to be in `to`; nothing when one of them is unknown or they measure
/// different things. Reciprocals ("1/MPa") and squares ("MPa^2") of units are converted like the units.
XEM_FIT_EXPORT std::optional<double> ConversionFactor(std::string_view from, std::string_view to);

/// What the columns of a curve are.
struct CurveRoles {
  Role x;
  Role y;
  std::optional<Role> companion = std::nullopt;
};
/// By the name that the catalogue gives the curve, such as "uniaxial", "relaxation", "creep", "stiffness",
/// "tensile_test", "retention"; besides "grading", "flow_curve" and "measured_limits".
XEM_FIT_EXPORT CurveRoles RolesOf(const std::string& curve);

/// A curve as a table tells it.
struct TableCurve {
  Curve curve;  ///< rows are lines of the source; those without a number are in Curve::unused
  std::string xUnit;
  std::string yUnit;
  std::string_view xName;  ///< names of the roles that the columns go by; empty for columns called otherwise
  std::string_view yName;
  Input input;                     ///< curve, file, columns, rows, what was understood; no digest
  std::vector<std::string> notes;  ///< on the file, for readers of the result
};

/// Columns chosen by hand: role (or "x", "y") -> name of the column.
using ColumnNames = std::map<std::string, std::string>;

/// Reads a curve of the catalogue from a table. Rows in which a number is missing are left out and told.
XEM_FIT_EXPORT TableCurve CurveFromTable(const Table& table, const std::string& curve, const ColumnNames& columns = {});
/// The same for a curve of any name.
XEM_FIT_EXPORT TableCurve CurveFromTable(const Table& table, const std::string& name, const CurveRoles& roles,
                                         const ColumnNames& columns = {});

/// Converts the ordinates of the curves to the unit of the first one that has points and says so in `notes`; returns
/// that unit. Curves that name no unit are taken to be in it.
XEM_FIT_EXPORT std::string UseOneOrdinateUnit(const std::vector<TableCurve*>& curves, std::vector<std::string>& notes);
/// The same for abscissae.
XEM_FIT_EXPORT std::string UseOneAbscissaUnit(const std::vector<TableCurve*>& curves, std::vector<std::string>& notes);

// What columns and metadata tell of the tests of a family

/// True where name or unit of the ordinates say modulus or stress: raw moduli, no ratios.
XEM_FIT_EXPORT bool HoldsModuli(const TableCurve& relaxation);
/// The stress of a creep test, from metadata, in `unit`, or in its own, which `unit` becomes if it is empty.
XEM_FIT_EXPORT double CreepStress(const Table& table, std::string& unit);
/// Refuses curves of cyclic behaviour in units other than fractions and percent.
XEM_FIT_EXPORT void RequireFractions(const TableCurve& cyclic);
/// Measures of strain and stress: those given, else by the names of the columns.
XEM_FIT_EXPORT void SetMeasures(const TableCurve& tensile, std::optional<StrainMeasure> strain,
                                std::optional<StressMeasure> stress, TensileData& data);
/// True for a retention curve of saturations, false for one of water contents.
XEM_FIT_EXPORT bool HoldsSaturation(const Table& table, const ColumnNames& columns = {});
/// Refuses water contents by mass.
XEM_FIT_EXPORT void RequireVolumetric(const TableCurve& retention);
/// The unit of the abscissae of a soil's curve as one of those known; `usual`, and a note, when the column names none.
XEM_FIT_EXPORT std::string SoilUnit(const TableCurve& read, const std::vector<std::string>& known,
                                    const std::string& usual, const std::string& what, std::vector<std::string>& notes);

/// A test of one specimen or one of its curves: which curve of the catalogue, and where it is read from.
struct TestTable {
  std::string curve;  ///< for creep any name
  Table table;
  ColumnNames columns = {};
};

/// What tables of one family say: tests ready for a fit, and what a result should tell of them.
struct ReadTests {
  Tests tests;
  std::vector<Input> inputs;
  std::vector<std::string> notes;
};

/// Tests of a family of the catalogue ("rubber", "relaxation", "creep", "cyclic", "hardening", "retention";
/// "volumetric" for volumetric tests alone) from tables: units of one fit made one, raw moduli told from ratios, stress
/// of a creep test, porosity and density of a soil taken from metadata. The same mode of deformation may come several
/// times, and so may creep tests.
XEM_FIT_EXPORT ReadTests TestsFromTables(const std::string& family, std::vector<TestTable> tables);

}  // namespace Xem::Fit

#endif
