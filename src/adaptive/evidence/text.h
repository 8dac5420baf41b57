// Sentences with figures, for the reasons of verdicts.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_TEXT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_TEXT_H_

#include <cstdio>
#include <string>

namespace primfit::adaptive {

/// As printf; what is longer than a sentence is cut.
template <class... Values>
std::string Text(const char* format, Values... values) {
  char text[200];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_TEXT_H_
