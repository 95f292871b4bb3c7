#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel::plist::detail {

/// Cuts the little of XML that property lists are made of into tags and texts. The text must outlive it.
class XmlScanner {
 public:
  enum class Form : std::uint8_t { Start, End, Empty };  ///< <a>, </a>, <a/>

  struct Tag {
    Form form = Form::Start;
    std::string_view name;
  };

  /// The document must be UTF-8.
  explicit XmlScanner(std::string_view document) : document_(document), rest_(document) {}

  /// Passes the declaration and the document type; false when they ask for more than is read here: another
  /// encoding, entities.
  bool passProlog();

  /// The next tag, after nothing but space, comments and instructions; absent for anything else, and at the
  /// end.
  std::optional<Tag> nextTag();

  /// The characters up to the next tag, their references resolved; absent when they are malformed.
  std::optional<std::string> text();

  /// Where the last tag that was looked for begins.
  std::size_t lastTag() const { return lastTag_; }

  /// Whether nothing but space, comments and instructions is left.
  bool atEnd();

 private:
  bool pass(std::string_view opening, std::string_view closing);
  bool passMisc();
  bool takeReference(std::string& text);

  const std::string_view document_;
  std::string_view rest_;
  std::size_t lastTag_ = 0;
};

}  // namespace vantrel::plist::detail
