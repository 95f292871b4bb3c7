#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace vantrel::tests {

/// What stands between the white space of a text.
inline std::vector<std::string> words(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> found;
  for (std::string word; stream >> word;) found.push_back(word);
  return found;
}

}  // namespace vantrel::tests
