/// What the targets that read files ask of every refusal.

#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "xem/fit/result.h"

/// Ends the process in words that scripts/fuzz looks for.
[[noreturn]] inline void Report(const char* finding, const std::string& text) {
  std::fprintf(stderr, "FINDING: %s: %s\n", finding, text.c_str());
  std::abort();
}

/// Runs one step of reading; a refusal must be a sentence that can be shown.
template <class Step>
void MayRefuse(Step step) {
  try {
    step();
  } catch (const Xem::Fit::Error& failure) {
    const std::string_view sentence = failure.what();
    if (sentence.empty() || sentence.size() > 4000) Report("a message without measure", std::string(sentence));
    for (const char letter : sentence) {
      if (static_cast<unsigned char>(letter) < ' ') Report("a control character in a message", std::string(sentence));
    }
  }
}
