#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/run_tool.h"

// What xemfit says and does when something is wrong: one sentence that names file, row or option, the right exit code,
// nothing on standard output and no file left behind.
namespace Xem::Testing {
namespace {

constexpr int kOther = 1;
constexpr int kUsage = 2;
constexpr int kBadData = 3;
constexpr int kNotConverged = 4;

struct Complaint {
  std::string arguments;  // after "hyper fit --json out.json --curves out.csv" if options come first
  std::string file;       // contents of a.csv
  int exitCode;
  std::vector<std::string> mentions;
};

const std::string kGood = "strain,stress_MPa\n0.1,0.2\n0.2,0.35\n0.3,0.45\n0.5,0.6\n";
const std::string kFitOne = "--model polynomial:1 --uniaxial a.csv";

const std::string kSand = XEM_DATA_DIR "/seed_idriss1970_sand_stiffness.csv";
const std::string kPolymer = XEM_DATA_DIR "/polymer_relaxation.csv";
const std::string kMetal = XEM_DATA_DIR "/metal_creep_500MPa.csv";
const std::string kSheet = XEM_DATA_DIR "/sgcc_flow_curve.csv";
const std::string kForming = "forming curve --hardening ghosh:518.968,0.0007648,0.28985,0";
const std::string kProny = R"({"model": "prony", "parameters": []})";

const std::pair<const char*, const char*> kFiles[] = {
    {"force.csv", "strain,stress_furlong\n0.1,0.2\n0.2,0.3\n"},
    {"soil.csv", "suction,theta\n0,.4\n1,.39\n10,.3\n100,.2\n1000,.1\n"},
};

const std::vector<Complaint> kComplaints{
    // files
    {"--model polynomial:1 --uniaxial none.csv", kGood, kBadData, {"none.csv", "No such file"}},
    {"--model polynomial:1 --uniaxial .", kGood, kBadData, {".:", "directory"}},
    {kFitOne, "", kBadData, {"a.csv", "empty"}},
    {kFitOne, "# stress_MPa: 3\n\n", kBadData, {"a.csv", "empty"}},
    {kFitOne, "strain,stress_MPa\n", kBadData, {"a.csv", "no rows"}},
    {kFitOne, "0.1,0.2\n0.2,0.3\n", kBadData, {"a.csv, line 1", "header row"}},
    {kFitOne, "strain stress\n0.1 0.2\n", kBadData, {"a.csv, line 1", "one column"}},
    {kFitOne, std::string("\x7f\x45LF\0\0", 6), kBadData, {"a.csv", "not a text file"}},
    {kFitOne, "strain,stress\n0.1,0.2\n0.2," + std::string(1, '\0') + "\n", kBadData, {"a.csv", "NUL bytes"}},
    {kFitOne, std::string("\xff\xfes\0t", 5), kBadData, {"a.csv", "UTF-16", "within a character"}},
    {kFitOne, "PK\x03\x04...", kBadData, {"a.csv", "Excel workbook", "save the sheet as CSV", "Python"}},
    {kFitOne, "strain,stress\n" + std::string(70000, '7') + ",1\n", kBadData, {"a.csv, line 2", "64 KiB"}},
    // two readings
    {kFitOne, "strain;stress\n1;1,234\n2;2,345\n", kBadData, {"line 2", "\"1,234\"", "thousands", "--decimal"}},
    {kFitOne, "strain;stress\n0.1;0.2\n0,2;0.3\n", kBadData, {"a.csv, line 3", "\"0,2\"", "decimal comma", "'.'"}},
    {kFitOne,
     "a,b\n1,2\n2,3\n3,4\nstrain,stress\n1,2\n2,3\n3,4\n",
     kBadData,
     {"lines 1 and 5", "--header-line 1", "--header-line 5"}},
    {kFitOne, "a;b;c\td\te\n1;2;3\t4\t5\n1;2;3\t4\t5\n", kBadData, {"line 1", "semicolon or by tab", "--separator"}},
    {kFitOne, "strain;stress\n0.1;0.2\n0.2,0.3\n", kBadData, {"a.csv, line 3", "comma", "header by semicolon"}},
    {kFitOne, "Report 7\n\n0.1,0.2\n0.2,0.3\n", kBadData, {"a.csv, line 3", "no row above names"}},
    {kFitOne, "strain,stress_MPa\n-,kPa\n0.1,0.2\n0.2,0.3\n", kBadData, {"stress_MPa", "MPa", "kPa", "agree"}},
    // cells
    {kFitOne,
     "# x\nstrain,stress_MPa\n0.1,0.2\n0.2,abc\n",
     kBadData,
     {"a.csv, line 4", "column stress_MPa", "\"abc\"", "not a number"}},
    {kFitOne, "strain,stress\n0.1,0.2\n0.2,0.3MPa\n", kBadData, {"a.csv, line 3", "\"0.3MPa\""}},
    {kFitOne, "strain,stress\n0.1,NaN\n0.2,-\n", kBadData, {"a.csv, line 2", "no stress (NaN)", "--column"}},
    {kFitOne, "strain,stress\ninf,0.2\n0.2,1\n", kBadData, {"a.csv, line 2", "column strain", "\"inf\""}},
    {kFitOne, "strain,stress\n0.1,1e999\n0.2,1\n", kBadData, {"a.csv, line 2", "\"1e999\""}},
    {kFitOne, "strain,stress\n0.1,0.2\n0,2,0,3\n", kBadData, {"a.csv, line 3", "4 cells", "decimal"}},
    {kFitOne + " --decimal point", "strain;stress\n0.1;0.2\n0,2;0.3\n", kBadData, {"line 3", "uses a decimal comma"}},
    {kFitOne, "strain,stress" + std::string(20000, ','), kBadData, {"a.csv, line 1", "16384 columns"}},
    {kFitOne, "strain,stress\n\"0.1,0.2\n", kBadData, {"a.csv, line 2", "quoted"}},
    {kFitOne, "strain,stress\n0.1,0.2\n", kBadData, {"uniaxial", "a.csv", "point"}},
    {kFitOne, "strain,stress\n0.1,0\n0.2,0\n", kBadData, {"uniaxial", "a.csv", "0 of 2 points"}},
    // columns
    {kFitOne, "strain,force_N\n0.1,0.2\n", kBadData, {"a.csv, line 1", "stress", "force_N", "--column"}},
    {kFitOne, "strain,stress,stress\n0.1,0.2,0.3\n", kBadData, {"a.csv, line 1", "more than once"}},
    {kFitOne + " --column y=force", kGood, kUsage, {"--column", "\"force\"", "a.csv"}},
    {kFitOne + " --column z=strain", kGood, kUsage, {"--column", "\"z\"", "stress"}},
    {kFitOne + " --select strain=9", kGood, kBadData, {"a.csv", "strain", "\"9\"", "0.1, 0.2"}},
    {kFitOne + " --select soil=9", kGood, kUsage, {"--select", "\"soil\""}},
    {"--model polynomial:1 --uniaxial a.csv --pure-shear force.csv",
     kGood,
     kBadData,
     {"force.csv", "\"furlong\"", "\"MPa\""}},
    // options
    {"--model polynomial:1", kGood, kUsage, {"--uniaxial"}},
    {"--uniaxial a.csv", kGood, kUsage, {"--model"}},
    {"--model rubber:2 --uniaxial a.csv", kGood, kUsage, {"--model", "\"rubber\"", "polynomial"}},
    {"--model polynomial --uniaxial a.csv", kGood, kUsage, {"--model", "polynomial:2"}},
    {"--model polynomial:-1 --uniaxial a.csv", kGood, kUsage, {"--model", "-1", "between 1"}},
    {"--model polynomial:1..2000000000 --uniaxial a.csv", kGood, kUsage, {"--model", "between"}},
    {"--model polynomial:3..1 --uniaxial a.csv", kGood, kUsage, {"--model", "\"3..1\""}},
    {"--model polynomial:two --uniaxial a.csv", kGood, kUsage, {"--model", "\"two\""}},
    {kFitOne + " --frobnicate", kGood, kUsage, {"--frobnicate", "--help"}},
    {kFitOne + " --residual squared", kGood, kUsage, {"--residual", "absolute, relative"}},
    {kFitOne + " --hold C10", kGood, kUsage, {"--hold", "\"C10\""}},
    {kFitOne + " --hold C10=1 --hold C10=2", kGood, kUsage, {"--hold", "twice"}},
    {kFitOne + " --hold C10=one", kGood, kUsage, {"--hold", "\"one\""}},
    {kFitOne + " --hold C99=1", kGood, kUsage, {"C99", "C10"}},
    {kFitOne + " --weight biaxial=2", kGood, kUsage, {"--weight", "\"biaxial\"", "uniaxial"}},
    {kFitOne + " --weight uniaxial=-2", kGood, kUsage, {"uniaxial", "-2"}},
    {"--model polynomial:1 --uniaxial - --pure-shear -", kGood, kUsage, {"standard input", "once"}},
    // outputs
    {kFitOne + " --plot fit.gif", kGood, kUsage, {"--plot", "fit.gif", ".png"}},
    {kFitOne + " --plot out.json", kGood, kUsage, {"--json", "--plot", "out.json"}},
    {kFitOne + " --report fit.txt", kGood, kUsage, {"must end in .html"}},
    {kFitOne + " --report none/fit.html", kGood, kOther, {"no such folder"}},
    {kFitOne + " --report out.html --json out.html", kGood, kUsage, {"--json"}},
    {kFitOne + " --plot none/fit.png", kGood, kOther, {"none/fit.png", "folder"}},
    {kFitOne + " --plot folder.png", kGood, kOther, {"folder.png", "directory"}},
    // evaluation
    {"hyper stress --parameters a.csv --grid 0:1:5", kGood, kBadData, {"a.csv", "JSON"}},
    {"hyper stress --parameters a.csv --grid 0:1:5", "{\"model\": \"polynomial\"}", kBadData, {"a.csv", "parameters"}},
    {"hyper stress --parameters a.csv --grid 0:1:5 --mode uniaxial",
     R"({"model": "polynomial", "terms": 2, "parameters": [{"name": "C10", "value": 1}]})",
     kUsage,
     {"5 coefficients"}},
    {"hyper stress --parameters a.csv --grid 0:1", kGood, kUsage, {"--grid", "\"0:1\""}},
    {"hyper stress --parameters a.csv --grid 0:1:2000000000", kGood, kUsage, {"--grid"}},
    {"hyper stress --parameters a.csv --grid 0:1:3 --mode torsion",
     R"({"model": "polynomial", "terms": 1, "parameters": [{"name": "C10", "value": 1}, {"name": "C01", "value": 1}]})",
     kUsage,
     {"--mode", "\"torsion\""}},
    {"hyper stress --parameters a.csv --grid -1:1:3 --mode uniaxial",
     R"({"model": "polynomial", "terms": 1, "parameters": [{"name": "C10", "value": 1}, {"name": "C01", "value": 1}]})",
     kUsage,
     {"--grid", "above -1"}},
    {"hyper fit --unaxial a.csv", kGood, kUsage, {"expected: --unaxial;"}},  // rather than that --model is missing
    {"batch a.csv --timeout -1", kGood, kUsage, {"--timeout: -1 must be at least 0"}},
    {"hyper", kGood, kUsage, {"name a command", "xemfit hyper --help"}},
    {"hyper juggle stones", kGood, kUsage, {"juggle"}},
    {"hyper stress --grid 0:1:3 --parameters a.csv fit", kGood, kUsage, {"expected: fit"}},
    // cyclic curves
    {"cyclic fit --family power", "", kUsage, {"--stiffness"}},
    {"cyclic fit --family cubic --stiffness " + kSand, "", kUsage, {"--family: there is no model"}},
    {"cyclic fit --family power --overlay peat --stiffness " + kSand, "", kUsage, {"clay"}},
    {"cyclic fit --family power --form cubic --stiffness " + kSand, "", kUsage, {"log-strain"}},
    {"cyclic fit --family power --hold hmax=0.7 --stiffness " + kSand, "", kUsage, {"0.63"}},
    {"cyclic fit --family power --stiffness a.csv", "strain,G_over_Gmax\n0.001,1\n5,0.05\n", kBadData, {"_percent"}},
    {"cyclic fit --family power --stiffness a.csv", "strain_Pa,G_over_Gmax\n0.1,1\n", kBadData, {"fraction"}},
    {"cyclic fit --family hyperbolic --form stress --stiffness " + kSand, "", kUsage, {"ordinate"}},
    {"cyclic fit --family hyperbolic --hold hmax=0.2 --stiffness " + kSand, "", kUsage, {"gamma_r"}},
    {"cyclic fit --family ghe --damping a.csv", "strain,damping\n1e-4,0.05\n1e-3,0.1\n", kBadData, {"stiffness"}},
    {"cyclic fit --family ghe --stiffness a.csv", "strain,G_over_Gmax\n1e-4,.8\n1e-3,.4\n", kBadData, {"2 usable"}},
    {"cyclic fit --family ghe --damping a.csv", "strain,damping\n1e-4,5\n1e-3,10\n", kBadData, {"damping_percent"}},
    // relaxation and creep
    {"prony fit --terms 0 " + kPolymer, "", kUsage, {"--terms"}},
    {"prony fit --terms 2..3 " + kPolymer, "", kUsage, {"--terms"}},
    {"prony fit --normalise last " + kPolymer, "", kUsage, {"--normalise"}},
    {"prony fit --terms 1 a.csv", "time_s,g\n1,900\n2,800\n3,700\n4,650\n", kBadData, {"normalise"}},
    {"prony fit --bounds tau1=2:1 --terms 1 " + kPolymer, "", kUsage, {"--bounds", "below"}},
    {"prony fit --leave-out relaxation=9-5 " + kPolymer, "", kUsage, {"--leave-out", "CURVE=LINE"}},
    {"prony fit --leave-out creep=7 " + kPolymer, "", kUsage, {"no curve \"creep\""}},
    {"prony fit --leave-out 1-999 " + kPolymer, "", kBadData, {"leaves none"}},
    {"look --as uniaxial " + kPolymer, "", kBadData, {"no column for strain"}},
    {"prony fit --range relaxation=1 " + kPolymer, "", kUsage, {"--range", "LO:HI"}},
    {"prony fit --range creep=1: " + kPolymer, "", kUsage, {"no curve \"creep\""}},
    {"prony fit --range 1e9:2e9 " + kPolymer, "", kBadData, {"none of its"}},
    {"prony fit --level 95 " + kPolymer, "", kUsage, {"0.95 stands for"}},
    {"prony fit --bootstrap 9,x " + kPolymer, "", kUsage, {"--bootstrap", "N,SEED"}},
    {"prony fit --hold g1=0.1 " + kPolymer, "", kUsage, {"number of terms"}},
    {"prony fit --engine export " + kPolymer, "", kUsage, {"terms"}},
    {"prony fit --engine export --terms 1 --hold g1=0.1 " + kPolymer, "", kUsage, {"export"}},
    {"prony convert --parameters a.csv --reference 1 " + kPolymer, kProny, kBadData, {"hyperelastic"}},
    {"prony convert --parameters a.csv " + kPolymer, kProny, kUsage, {"--reference"}},
    {"creep fit a.csv", "time_h,creep_strain\n1,1e-3\n2,2e-3\n3,3e-3\n", kBadData, {"# stress_MPa"}},
    {"creep fit --stress 1,2 " + kMetal, "", kUsage, {"--stress"}},
    {"creep fit --stress -1 " + kMetal, "", kUsage, {"--stress"}},
    {"creep fit --type tertiary " + kMetal, "", kUsage, {"--type"}},
    {"creep fit --hold C3=1 " + kMetal, "", kUsage, {"C3"}},
    {"creep fit --engine export --residual relative " + kMetal, "", kNotConverged, {"stress"}},
    // water retention
    {"retention fit", "", kUsage, {"give a retention curve"}},
    {"retention fit soil.csv --model gardner", "", kUsage, {"van-genuchten"}},
    {"retention fit soil.csv --grid 0:10:3", "", kUsage, {"--grid"}},
    {"retention fit soil.csv --points all", "", kUsage, {"measured"}},
    {"retention fit soil.csv --porosity 1.5", "", kUsage, {"porosity"}},
    {"retention fit soil.csv --hold lambda=1", "", kUsage, {"lambda"}},
    {"retention fit a.csv", "suction,saturation\n0,1\n1,.9\n10,.8\n100,.7\n", kUsage, {"give the porosity"}},
    {"retention fit a.csv", "suction,theta\n0,.3\n1,.3\n10,.3\n99,.3\n999,.3\n", kBadData, {"at every suction"}},
    {"retention fit a.csv", "suction,theta\n0,41\n1,39\n10,30\n100,20\n1000,10\n", kBadData, {"percent"}},
    {"retention fit soil.csv --points grading", "", kBadData, {"no grading"}},
    {"retention fit a.csv", "suction_ft,theta\n1,.39\n", kBadData, {"\"ft\""}},
    {"retention fit a.csv", "suction_kPa,theta_g/g\n1,.39\n", kBadData, {"not volumetric"}},
    {"retention fit a.csv", "suction,theta\n0,.4\n0,.4\n0,.39\n0,.41\n", kBadData, {"different suctions"}},
    {"retention fit --grading a.csv", "sieve_mm,passing\n1,100\n", kBadData, {"grading"}},
    // forming limits
    {"forming curve", "", kUsage, {"--hardening"}},
    {"forming curve --hardening ludwik:1,2", "", kUsage, {"there is no law \"ludwik\""}},
    {"forming curve --hardening ghosh:1,2", "", kUsage, {"ghosh:K,e0,n,p"}},
    {"forming curve --hardening ghosh:500,a,0.2,0", "", kUsage, {"e0: \"a\" is not a number"}},
    {"forming curve --hardening ghosh:-500,0,0.2,0", "", kUsage, {"K = -500 must be above 0"}},
    {"forming curve --hardening none.csv", "", kBadData, {"none.csv"}},
    {"forming curve --hardening a.csv", "plastic_strain,true_stress\n0,2\n.1,3\n.1,4\n", kBadData, {"more than once"}},
    {kForming + " --yield tresca", "", kUsage, {"no criterion \"tresca\""}},
    {kForming + " --yield hill1979", "", kUsage, {"hill1979:r,m"}},
    {kForming + " --yield hill1979:1/2,2", "", kUsage, {"r0/r45/r90"}},
    {kForming + " --yield vonmises --yield vonmises", "", kUsage, {"one for each of the 1"}},
    {kForming + " --paths 3", "", kUsage, {"two are needed; take"}},
    {kForming + " --increment 1", "", kUsage, {"increment"}},
    {"forming curve --hardening A=swift:500,0,.2 --hardening A=swift:500,0,.2", "", kUsage, {"are called \"A\""}},
    {kForming + " --increment 0.03 --tolerance 0.0001", "", kNotConverged, {"larger tolerance"}},
    {kForming + " --limits a.csv", kGood, kBadData, {"minor_strain"}},
    {"forming curve --tensile a.csv", kGood, kBadData, {"--strain-measure"}},
    {"forming curve --tensile a.csv", "plastic_strain,true_stress_MPa\n.01,200\n.02,210\n", kBadData, {"at least"}},
    {"forming curve --tensile a.csv --strain-measure true --law ludwik",
     kGood,
     kUsage,
     {"there is no model \"ludwik\""}},
    {"forming curve --tensile " + kSheet + "@angle_deg", "", kBadData, {"angle_deg"}},
    {"forming curve --tensile " + kSheet + "@angle_deg=30", "", kBadData, {"angle_deg"}},
};

std::vector<std::string> Words(const std::string& line) {
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), {}};
}

TEST(Diagnosis, IsOneSentenceWithTheRightCode) {
  const TemporaryFolder folder;
  for (const auto& [name, contents] : kFiles) folder.Write(name, contents);
  std::filesystem::create_directory(folder.Path() / "folder.png");
  for (const Complaint& complaint : kComplaints) {
    SCOPED_TRACE(complaint.arguments + "\n" + complaint.file);
    folder.Write("a.csv", complaint.file);
    const auto before = folder.Contents();
    const std::string command = complaint.arguments[0] == '-' ? "hyper fit --json out.json --curves out.csv " : "";
    const ToolRun run = RunTool(Words(command + complaint.arguments), folder.Path(), kGood);
    EXPECT_EQ(run.exitCode, complaint.exitCode) << run.errors;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_EQ(run.errors.rfind("xemfit: ", 0), 0u) << run.errors;
    for (const std::string& mention : complaint.mentions) {
      EXPECT_NE(run.errors.find(mention), std::string::npos) << "\"" << mention << "\" is not in: " << run.errors;
    }
    EXPECT_EQ(folder.Contents(), before);
  }
}

TEST(Outputs, AnEarlierResultSurvivesAFailedRun) {
  const TemporaryFolder folder;
  folder.Write("a.csv", kGood);
  folder.Write("out.json", "earlier");
  std::filesystem::create_directory(folder.Path() / "bin");
  const ToolRun run = RunTool(Words("hyper fit --json out.json --plot fit.png " + kFitOne), folder.Path(), "",
                              {"PATH=" + (folder.Path() / "bin").string()});
  EXPECT_EQ(run.exitCode, kOther);
  EXPECT_NE(run.errors.find("gnuplot"), std::string::npos) << run.errors;
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(folder.Read("out.json"), "earlier");
  EXPECT_EQ(folder.Contents(), (std::vector<std::string>{"a.csv", "bin", "out.json"}));
}

TEST(Outputs, AnInputIsNeverOverwritten) {
  const TemporaryFolder folder;
  folder.Write("a.csv", kGood);
  std::filesystem::create_symlink("a.csv", folder.Path() / "link.csv");
  EXPECT_EQ(RunTool(Words("hyper fit --curves link.csv " + kFitOne), folder.Path()).exitCode, kUsage);
  EXPECT_EQ(folder.Read("a.csv"), kGood);
}

}  // namespace
}  // namespace Xem::Testing
