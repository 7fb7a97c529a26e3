#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Xem::Tool {

/// What stands in the braces of a recipe -> what it is for one specimen.
using Placeholders = std::map<std::string, std::string>;

/// The command for one specimen, as words, with placeholders in braces.
struct Recipe {
  std::string source;  ///< in messages
  std::vector<std::string> words;
  std::vector<bool> isOutput;  ///< per word: it names a file that the command writes
};

/// Words are separated by blanks and line ends; quotes hold a word with blanks together; `#` starts a comment; a
/// backslash at the end of a line and a leading "xemfit" change nothing. Throws Failure (Usage).
Recipe ParseRecipe(const std::string& text, const std::string& source);

/// A word with its placeholders replaced. Throws Failure (Usage) for one that is not known.
std::string Expand(const std::string& word, const Placeholders& values, const std::string& source);
std::vector<std::string> Expand(const Recipe& recipe, const Placeholders& values);

/// The file that a word names, as FILE or --option=FILE.
std::string FileOf(const std::string& word);

/// Finds the words that are outputs, by reading the command as the command line would, and refuses a recipe that is no
/// fit or keeps its result from the batch. `samples` are tried in turn: one good specimen is enough. Throws Failure
/// (Usage).
void CheckRecipe(Recipe& recipe, const std::vector<Placeholders>& samples);

struct Specimen {
  std::string name;
  Placeholders values;
};

/// Every specimen whose first input file is in `folder`, in natural order: A2 before A10. Files in `others` are none.
/// Throws Failure.
std::vector<Specimen> FindSpecimens(const Recipe& recipe, const std::string& folder,
                                    const std::vector<std::string>& others);

/// The rows of a CSV file whose column `specimen` names them and whose columns are the placeholders. Throws Failure.
std::vector<Specimen> ReadSpecimens(const std::string& path);

}  // namespace Xem::Tool
