#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <sstream>
#include <string>

namespace vantrel::testing {

/// Short programs of words, for tables of cases: "play:1 pause wait:0.5". A word does what its set-up says,
/// with the text behind the colon; an unknown one throws.
class Script {
 public:
  using Word = std::function<void(const std::string&)>;

  void add(std::map<std::string, Word> words) { words_.merge(words); }

  void run(const std::string& program) const {
    std::istringstream stream(program);
    for (std::string word; stream >> word;) {
      const std::size_t colon = std::min(word.find(':'), word.size());
      words_.at(word.substr(0, colon))(word.substr(std::min(colon + 1, word.size())));
    }
  }

 private:
  std::map<std::string, Word> words_;
};

}  // namespace vantrel::testing
