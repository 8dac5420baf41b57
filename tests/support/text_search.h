// Regular expressions for tests. Those of the C++ library make GCC 12 warn of its own code under sanitizers.
#ifndef PRIMFIT_TESTS_SUPPORT_TEXT_SEARCH_H_
#define PRIMFIT_TESTS_SUPPORT_TEXT_SEARCH_H_

#include <regex.h>

#include <stdexcept>
#include <string>

/// Whether a POSIX extended regular expression is found anywhere in a text.
inline bool Finds(const std::string& text, const std::string& expression) {
  regex_t compiled;
  if (::regcomp(&compiled, expression.c_str(), REG_EXTENDED | REG_NOSUB) != 0)
    throw std::invalid_argument(expression);
  const bool found = ::regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
  ::regfree(&compiled);
  return found;
}

#endif  // PRIMFIT_TESTS_SUPPORT_TEXT_SEARCH_H_
