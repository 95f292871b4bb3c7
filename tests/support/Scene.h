#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace vantrel::tests {

/// A word of a scene, "verb:name:detail{block}"; what is not there is empty.
struct Word {
  std::string verb, name, detail, block;

  double number() const { return std::stod(detail.empty() ? name : detail); }
};

/// Plays scripts such as "post:a{post:b} turn": words apart by blanks, each done at once by what is entered
/// for its verb; a block is done by the callback that it is given to. What happened is told in words, too.
class Scene {
 public:
  std::map<std::string, std::function<void(const Word&)>, std::less<>> verbs{
      // Whether what a callback captured is still there.
      {"alive", [this](const Word& word) { note(captured_[word.name].expired() ? "gone" : "alive"); }},
      {"throw", [](const Word&) { throw 1; }},
  };

  void note(const std::string& text) { told_ += (told_.empty() ? "" : " ") + text; }

  /// Notes the word's name (and what `stamp` says) and does its block whenever it is called.
  std::function<void()> callback(const Word& word, std::function<std::string()> stamp = {}) {
    const auto token = std::make_shared<int>();
    captured_[word.name] = token;
    return [this, word, stamp, token] {
      note(word.name + (stamp ? stamp() : ""));
      perform(word.block);
    };
  }

  /// What was told since the last call.
  std::string play(std::string_view script) {
    perform(script);
    return std::exchange(told_, {});
  }

 private:
  void perform(std::string_view script) {
    while (true) {
      script.remove_prefix(std::min(script.find_first_not_of(' '), script.size()));
      if (script.empty()) return;
      std::size_t end = std::min(script.find_first_of(" {"), script.size());
      Word word{std::string(script.substr(0, end)), {}, {}, {}};
      if (end < script.size() && script[end] == '{') word.block = blockAt(script, end);
      script.remove_prefix(end);
      for (std::string* const next : {&word.name, &word.detail}) {
        std::string& last = next == &word.name ? word.verb : word.name;
        const std::size_t colon = std::min(last.find(':'), last.size());
        *next = last.substr(std::min(colon + 1, last.size()));
        last.resize(colon);
      }
      const auto verb = verbs.find(word.verb);
      ASSERT_NE(verb, verbs.end()) << word.verb;
      verb->second(word);
    }
  }

  /// What stands between the brace there and the one that belongs to it; `place` moves behind that.
  static std::string blockAt(std::string_view script, std::size_t& place) {
    const std::size_t start = ++place;
    for (int depth = 1; place < script.size() && depth > 0; ++place) {
      depth += script[place] == '{' ? 1 : script[place] == '}' ? -1 : 0;
    }
    return std::string(script.substr(start, place - start - 1));
  }

  std::string told_;
  std::map<std::string, std::weak_ptr<int>, std::less<>> captured_;
};

/// A scene, what it shows, and what is told of it.
struct SceneCase {
  const char* title;
  const char* script;
  const char* told;
};

}  // namespace vantrel::tests
