#include "support/schema.h"

#include <set>

namespace Xem::Testing {
namespace {

using Json = nlohmann::json;

bool HasType(const Json& value, const std::string& type) {
  if (type == "number") return value.is_number();
  return type == value.type_name() || (type == "integer" && value.is_number_integer());
}

class Checker {
 public:
  explicit Checker(const Json& root) : root_(root) {}

  void Check(const Json& value, const Json& schema, const std::string& where) {
    if (schema.contains("$ref")) {
      const std::string reference = schema["$ref"];
      Check(value, root_.at(Json::json_pointer(reference.substr(1))), where);
    }
    for (const auto& [keyword, wanted] : schema.items()) {
      static const std::set<std::string> aside{"$schema", "$defs", "$ref", "title", "description"};
      if (aside.count(keyword) == 0) CheckKeyword(value, schema, keyword, wanted, where);
    }
  }

  std::vector<std::string> offences;

 private:
  void CheckKeyword(const Json& value, const Json& schema, const std::string& keyword, const Json& wanted,
                    const std::string& where) {
    const auto require = [&](bool holds) {
      if (!holds) offences.push_back(where + ": " + keyword + " " + wanted.dump());
    };
    if (keyword == "type") {
      bool any = false;
      for (const Json& type : wanted.is_array() ? wanted : Json::array({wanted})) any |= HasType(value, type);
      require(any);
    } else if (keyword == "const") {
      require(value == wanted);
    } else if (keyword == "enum") {
      require(std::find(wanted.begin(), wanted.end(), value) != wanted.end());
    } else if (keyword == "minimum") {
      require(!value.is_number() || value >= wanted);
    } else if (keyword == "minItems") {
      require(!value.is_array() || value.size() >= wanted.get<std::size_t>());
    } else if (keyword == "maxItems") {
      require(!value.is_array() || value.size() <= wanted.get<std::size_t>());
    } else if (keyword == "required") {
      for (const Json& key : wanted) {
        if (value.is_object() && !value.contains(key.get<std::string>()))
          offences.push_back(where + ": no " + key.dump());
      }
    } else if (keyword == "properties") {
      for (const auto& [key, inner] : wanted.items()) {
        if (value.is_object() && value.contains(key)) Check(value[key], inner, where + '/' + key);
      }
    } else if (keyword == "additionalProperties") {
      for (const auto& [key, inner] : value.items()) {
        const bool named = schema.contains("properties") && schema["properties"].contains(key);
        if (!named) Check(inner, wanted, where + '/' + key);
      }
    } else if (keyword == "items") {
      for (std::size_t i = 0; value.is_array() && i < value.size(); ++i) {
        Check(value[i], wanted, where + '/' + std::to_string(i));
      }
    } else {
      offences.push_back("the schema uses " + keyword + ", which this check does not know");
    }
  }

  const Json& root_;
};

}  // namespace

std::vector<std::string> SchemaOffences(const Json& document, const Json& schema) {
  Checker checker(schema);
  checker.Check(document, schema, "");
  return checker.offences;
}

}  // namespace Xem::Testing
