#include "batch/recipe.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>

#include "command/command_line.h"
#include "failure.h"
#include "text.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kName = "specimen";
constexpr const char* kPlaceholder = "{specimen}";

[[noreturn]] void Refuse(const std::string& source, const std::string& what) {
  throw Failure(ExitCode::Usage, source + ": " + what);
}

/// The words of a recipe, letter by letter.
class WordReader {
 public:
  explicit WordReader(const std::string& source) : source_(source) {}

  void Read(const std::string& line) {
    ++line_;
    for (std::size_t i = 0; i < line.size(); ++i) {
      const char letter = line[i];
      if (quote_ != 0) {
        letter == quote_ ? quote_ = 0 : (word_ += letter, 0);
      } else if (letter == '"' || letter == '\'') {
        quote_ = letter;
        inWord_ = true;
        quoteLine_ = line_;
      } else if (letter == '#' && !inWord_) {
        break;
      } else if (std::isspace(static_cast<unsigned char>(letter))) {
        EndWord();
      } else if (letter != '\\' || !Trimmed(std::string_view(line).substr(i + 1)).empty()) {
        word_ += letter;
        inWord_ = true;
      }
    }
    if (quote_ != 0) Refuse(fmt::format("{}, line {}", source_, quoteLine_), "a quote is not closed on its line");
    EndWord();
  }

  std::vector<std::string> Words() { return std::move(words_); }

 private:
  void EndWord() {
    if (inWord_) words_.push_back(std::exchange(word_, {}));
    inWord_ = false;
  }

  std::string source_;
  std::vector<std::string> words_;
  std::string word_;
  bool inWord_ = false;
  char quote_ = 0;
  int line_ = 0;
  int quoteLine_ = 0;
};

bool NamesSpecimen(const std::string& text) { return text.find(kPlaceholder) != std::string::npos; }

/// Order of people: runs of digits count as numbers.
bool NaturallyBefore(const std::string& a, const std::string& b) {
  const auto isDigit = [](char letter) { return std::isdigit(static_cast<unsigned char>(letter)) != 0; };
  const auto digits = [&](const std::string& text, std::size_t& at) {
    while (at < text.size() && text[at] == '0') ++at;
    const std::size_t from = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    return text.substr(from, at - from);
  };
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (isDigit(a[i]) && isDigit(b[j])) {
      const std::string first = digits(a, i);
      const std::string second = digits(b, j);
      if (first.size() != second.size()) return first.size() < second.size();
      if (first != second) return first < second;
    } else {
      if (a[i] != b[j]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
      ++i;
      ++j;
    }
  }
  if ((i < a.size()) != (j < b.size())) return j < b.size();
  return a < b;
}

/// base/PREFIX{specimen}SUFFIX[/rest]
struct Pattern {
  std::string base, prefix, suffix;
};

Pattern PatternOf(const std::string& file) {
  const auto at = file.find(kPlaceholder);
  const auto slash = file.rfind('/', at);
  const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
  const std::string rest = file.substr(at + std::string_view(kPlaceholder).size());
  return {file.substr(0, start), file.substr(start, at - start), rest.substr(0, rest.find('/'))};
}

std::optional<std::string> Match(const Pattern& pattern, const std::string& entry) {
  if (entry.size() <= pattern.prefix.size() + pattern.suffix.size()) return std::nullopt;
  if (!entry.starts_with(pattern.prefix) || !entry.ends_with(pattern.suffix)) return std::nullopt;
  return entry.substr(pattern.prefix.size(), entry.size() - pattern.prefix.size() - pattern.suffix.size());
}

/// The first word with the specimen in it that is read.
std::string FirstInput(const Recipe& recipe) {
  for (std::size_t i = 0; i < recipe.words.size(); ++i) {
    if (!recipe.isOutput[i] && NamesSpecimen(recipe.words[i])) return FileOf(recipe.words[i]);
  }
  Refuse(recipe.source,
         "no input file has {specimen} in its name, so that there is nothing to repeat; write for "
         "example {specimen}.csv, or give --list");
}

/// The names of those of the files that are in the folder.
std::set<std::string> NamesWithin(const fs::path& folder, const std::vector<std::string>& files) {
  std::set<std::string> names;
  for (const fs::path file : files) {
    std::error_code error;
    if (!file.empty() && fs::equivalent(folder / file.filename(), file, error)) names.insert(file.filename().string());
  }
  return names;
}

}  // namespace

Recipe ParseRecipe(const std::string& text, const std::string& source) {
  WordReader reader(source);
  for (const std::string& line : Split(text, '\n')) reader.Read(line);
  Recipe recipe{source, reader.Words(), {}};
  if (!recipe.words.empty() && recipe.words.front() == "xemfit") recipe.words.erase(recipe.words.begin());
  if (recipe.words.empty()) Refuse(source, "the recipe is empty; write the command for one specimen into it");
  return recipe;
}

std::string Expand(const std::string& word, const Placeholders& values, const std::string& source) {
  std::string expanded;
  std::size_t at = 0;
  for (;;) {
    const auto open = word.find('{', at);
    const auto close = open == std::string::npos ? open : word.find('}', open);
    if (close == std::string::npos) return expanded + word.substr(at);
    const std::string name = word.substr(open + 1, close - open - 1);
    const auto value = values.find(name);
    if (value == values.end()) {
      std::vector<std::string> known;
      for (const auto& entry : values) known.push_back('{' + entry.first + '}');
      Refuse(source, fmt::format("{} is not known; there is {}", Quoted('{' + name + '}'), Join(known, ", ")));
    }
    expanded += word.substr(at, open - at) + value->second;
    at = close + 1;
  }
}

std::vector<std::string> Expand(const Recipe& recipe, const Placeholders& values) {
  std::vector<std::string> words;
  for (const std::string& word : recipe.words) words.push_back(Expand(word, values, recipe.source));
  return words;
}

std::string FileOf(const std::string& word) {
  const auto equals = word.find('=');
  return word.starts_with("--") && equals != std::string::npos ? word.substr(equals + 1) : word;
}

void CheckRecipe(Recipe& recipe, const std::vector<Placeholders>& samples) {
  std::optional<Failure> first;
  for (const Placeholders& sample : samples) {
    const auto words = Expand(recipe, sample);
    try {
      CommandLine commandLine(words);
      const auto files = commandLine.Parse(words).FilesToWrite();
      const auto isJson = [](const auto& file) { return file.first == "--json"; };
      if (std::any_of(files.begin(), files.end(), isJson)) {
        Refuse(recipe.source, "leave out --json; the batch keeps the results itself");
      }
      recipe.isOutput.clear();
      for (std::size_t i = 0; i < words.size(); ++i) {
        const auto isWritten = [name = FileOf(words[i])](const auto& file) { return file.second == name; };
        recipe.isOutput.push_back(std::any_of(files.begin(), files.end(), isWritten));
        if (recipe.isOutput.back() && recipe.words[i].find('{') == std::string::npos) {
          Refuse(recipe.source,
                 "every specimen would write " + Printable(FileOf(words[i])) + "; put {specimen} into the name");
        }
      }
      return;
    } catch (const Failure& failure) {
      if (!first) first = failure;
    }
  }
  const std::string what = first ? first->what() : "";
  throw Failure(ExitCode::Usage, what.starts_with(recipe.source) ? what : recipe.source + ": " + what);
}

std::vector<Specimen> FindSpecimens(const Recipe& recipe, const std::string& folder,
                                    const std::vector<std::string>& others) {
  const std::string file = FirstInput(recipe);
  const Pattern pattern = PatternOf(file);
  const fs::path base = fs::path(folder) / pattern.base;
  const std::set<std::string> taken = NamesWithin(base, others);
  std::vector<Specimen> specimens;
  std::error_code error;
  for (fs::directory_iterator entry(base, error), end; !error && entry != end; entry.increment(error)) {
    const std::string found = entry->path().filename().string();
    const auto name = Match(pattern, found);
    if (!name || taken.contains(found)) continue;
    const Placeholders values{{kName, *name}};
    const fs::path input = fs::path(folder) / Expand(file, values, recipe.source);
    std::error_code notThere;
    // The system has told with the entry what the entry is.
    const bool isFile = input.native() == entry->path().native() ? entry->is_regular_file(notThere)
                                                                 : fs::is_regular_file(input, notThere);
    if (isFile) specimens.push_back({*name, values});
  }
  if (error) {
    throw Failure(ExitCode::BadData,
                  fmt::format("{}: the folder cannot be read: {}", Printable(base.string()), error.message()));
  }
  if (specimens.empty()) {
    throw Failure(ExitCode::BadData, fmt::format("{}: no file is called {}, as {} wants it", Printable(folder),
                                                 Printable(file), recipe.source));
  }
  std::sort(specimens.begin(), specimens.end(),
            [](const Specimen& a, const Specimen& b) { return NaturallyBefore(a.name, b.name); });
  return specimens;
}

std::vector<Specimen> ReadSpecimens(const std::string& path) {
  Fit::ReadOptions options;
  options.fewestColumns = 1;
  options.keepTexts = true;
  const Fit::Table table = Fit::ReadTable(path, options);
  const std::vector<std::string> names = table.Names();
  if (std::find(names.begin(), names.end(), kName) == names.end()) {
    throw Failure(ExitCode::BadData,
                  fmt::format("{}, line {}: there is no column called specimen", table.source, table.headerLine));
  }
  std::vector<Specimen> specimens;
  std::set<std::string> known;
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    Specimen specimen;
    for (std::size_t i = 0; i < names.size(); ++i) specimen.values[names[i]] = Fit::CellText(table, row, i);
    specimen.name = specimen.values[kName];
    const std::string where = fmt::format("{}, line {}", table.source, table.lines[row]);
    if (specimen.name.empty()) throw Failure(ExitCode::BadData, where + ": the specimen has no name");
    if (!known.insert(specimen.name).second) {
      throw Failure(ExitCode::BadData, fmt::format("{}: specimen {} is there twice", where, Quoted(specimen.name)));
    }
    specimens.push_back(std::move(specimen));
  }
  return specimens;
}

}  // namespace Xem::Tool
