#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <system_error>

#include "fit/models/models.h"

namespace Xem::Fit {
namespace {

std::string Trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
    end = text.find(separator, begin);
    parts.push_back(Trimmed(text.substr(begin, end - begin)));
  }
  return parts;
}

bool IsSeries(const ModelInfo& info) { return info.mostTerms > 0; }

bool Belongs(const ModelInfo& info, const std::string& family, const std::string& curve) {
  const auto explains = [&](const CurveInfo& one) { return one.name == curve; };
  return info.family == family && (curve.empty() || std::any_of(info.curves.begin(), info.curves.end(), explains));
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

/// A whole number and nothing else; one that is too large is the largest.
std::optional<int> WholeNumber(const std::string& text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  if (text.empty() || last != end || error == std::errc::invalid_argument) return std::nullopt;
  return error == std::errc::result_out_of_range ? std::numeric_limits<int>::max() : number;
}

void RequireTerms(const ModelInfo& info, const std::string& text, int from, int to) {
  if (std::min(from, to) < info.fewestTerms || std::max(from, to) > info.mostTerms) {
    throw Error(ErrorKind::BadInput, info.name + ": " + text + " must lie between " + std::to_string(info.fewestTerms) +
                                         " and " + std::to_string(info.mostTerms));
  }
  if (from > to) throw Error(ErrorKind::BadInput, info.name + ": \"" + text + "\" ends before it begins");
}

/// What stands behind the colon of a choice, if there is one.
void AddChoices(const ModelInfo& info, bool hasColon, const std::string& behind, std::vector<ModelChoice>& choices) {
  if (!info.variants.empty()) {
    const auto variant = std::find(info.variants.begin(), info.variants.end(), behind);
    if (variant == info.variants.end()) {
      throw Error(ErrorKind::BadInput,
                  info.name + " needs a variant, such as " + info.name + ":" + info.variants.back());
    }
    choices.push_back({info.name, static_cast<int>(variant - info.variants.begin()) + 1});
    return;
  }
  if (!IsSeries(info)) {
    if (hasColon) throw Error(ErrorKind::BadInput, info.name + " takes no number of terms");
    choices.push_back({info.name, 0});
    return;
  }
  if (!hasColon) {
    if (info.usualTerms == 0) {
      throw Error(ErrorKind::BadInput,
                  info.name + " needs a number of terms, such as " + info.name + ":2 or " + info.name + ":1..3");
    }
    choices.push_back({info.name, info.usualTerms});
    return;
  }
  const auto dots = behind.find("..");
  const auto from = WholeNumber(behind.substr(0, dots));
  const auto to = dots == std::string::npos ? from : WholeNumber(behind.substr(dots + 2));
  if (!from || !to) {
    throw Error(ErrorKind::BadInput, info.name + ": \"" + behind + "\" is neither a number nor a range such as 1..3");
  }
  RequireTerms(info, behind, *from, *to);
  for (int terms = *from; terms <= *to; ++terms) choices.push_back({info.name, terms});
}

}  // namespace

const std::vector<const Model*>& Catalogue() {
#define XEM_FIT_ADDRESS(name) &name,
  static const std::vector<const Model*> catalogue{XEM_FIT_MODELS(XEM_FIT_ADDRESS)};
#undef XEM_FIT_ADDRESS
  return catalogue;
}

const std::vector<std::string>& ModelFamilies() {
  static const std::vector<std::string> families{"rubber", "relaxation", "shift",   "creep",
                                                 "cyclic", "hardening",  "forming", "retention"};
  return families;
}

const std::vector<ModelInfo>& Models() {
  static const std::vector<ModelInfo> infos = [] {
    std::vector<ModelInfo> all;
    for (const Model* model : Catalogue()) {
      all.push_back(model->info);
      // The last variant has everything; of a series without a usual length the shortest is shown.
      const auto variants = static_cast<int>(model->info.variants.size());
      all.back().parameters = model->parameters(variants > 0 ? variants : std::max(1, model->info.usualTerms));
    }
    return all;
  }();
  return infos;
}

const ModelInfo* FindModel(const std::string& name) {
  const auto& infos = Models();
  const auto found = std::find_if(infos.begin(), infos.end(), [&](const ModelInfo& info) { return info.name == name; });
  return found == infos.end() ? nullptr : &*found;
}

const Model& ModelCalled(const std::string& name) {
  for (const Model* model : Catalogue()) {
    if (model->info.name == name) return *model;
  }
  throw Error(ErrorKind::BadInput, "there is no model " + name);
}

std::vector<ParameterInfo> ModelParameters(const std::string& name, int terms) {
  const Model& model = ModelCalled(name);
  if (terms == 0) terms = model.info.usualTerms;
  if (IsSeries(model.info)) RequireTerms(model.info, std::to_string(terms), terms, terms);
  return model.parameters(terms);
}

std::string ModelChoice::Label() const {
  if (terms == 0) return name;
  const ModelInfo* info = FindModel(name);
  const bool word = info != nullptr && terms <= static_cast<int>(info->variants.size());
  return name + ":" + (word ? info->variants[static_cast<std::size_t>(terms) - 1] : std::to_string(terms));
}

std::vector<std::string> ModelNames(const std::string& family, const std::string& curve) {
  std::vector<std::string> names;
  for (const ModelInfo& info : Models()) {
    if (!Belongs(info, family, curve)) continue;
    names.push_back(info.name);
    if (IsSeries(info)) names.back() += info.usualTerms > 0 ? "[:N]" : ":N";
  }
  return names;
}

std::vector<ModelChoice> ChooseModels(const std::string& text, const std::string& family, const std::string& curve) {
  std::vector<ModelChoice> choices;
  if (text == "all") {
    for (const ModelInfo& info : Models()) {
      const bool whole = info.variants.empty() && (!IsSeries(info) || info.usualTerms > 0);
      if (Belongs(info, family, curve) && whole) choices.push_back({info.name, info.usualTerms});
    }
    return choices;
  }
  for (const std::string& part : Split(text, ',')) {
    const auto colon = part.find(':');
    const bool hasColon = colon != std::string::npos;
    const std::string name = Trimmed(part.substr(0, colon));
    const ModelInfo* info = FindModel(name);
    if (info == nullptr || !Belongs(*info, family, curve)) {
      throw Error(ErrorKind::BadInput,
                  "there is no model \"" + name + "\"; the models are " + Joined(ModelNames(family, curve)));
    }
    AddChoices(*info, hasColon, hasColon ? Trimmed(part.substr(colon + 1)) : "", choices);
  }
  return choices;
}

}  // namespace Xem::Fit
