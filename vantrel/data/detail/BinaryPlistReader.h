#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/data/detail/BinaryPlist.h"

namespace vantrel::plist::detail {

/// An object of a binary property list, its references not yet followed.
struct Object {
  enum class Type : std::uint8_t { Leaf, Uid, List, Dictionary };

  Type type = Type::Leaf;
  ValueTree leaf;           ///< of a leaf: any kind but null, list and dictionary
  std::uint64_t uid = 0;    ///< of a UID
  std::size_t count = 0;    ///< of a list's items or a dictionary's entries
  std::size_t payload = 0;  ///< where a container's references stand
};

/// The objects of a binary property list by number.
///
/// Nothing is trusted and nothing is allocated by a number in the file: each object is checked when it is
/// read, and all reading together may not take more than a few times the file's bytes, so that objects laid
/// over one another cannot multiply it.
class ObjectTable {
 public:
  /// Fails when header, trailer or offset table are not sound.
  static Result<ObjectTable> open(const Bytes& contents);

  std::size_t size() const { return objects_; }
  std::size_t top() const { return top_; }

  /// Absent when there is no such object or it is malformed.
  std::optional<Object> read(std::uint64_t number);

  /// The characters of an ASCII string, valid as long as the contents; empty for any other object.
  std::string_view ascii(std::uint64_t number) const;

  /// What a UID holds; absent for any other object.
  std::optional<std::uint64_t> uid(std::uint64_t number) const;

  /// The number of a list's item or of an entry's key or value. `read` checks it.
  std::uint64_t item(const Object& list, std::size_t index) const;
  std::uint64_t key(const Object& dictionary, std::size_t index) const { return item(dictionary, index); }
  std::uint64_t value(const Object& dictionary, std::size_t index) const;

 private:
  struct Place;

  explicit ObjectTable(const Bytes& contents) : contents_(contents) {}

  bool readTrailer();
  std::uint64_t bigEndian(std::size_t position, std::size_t size) const;
  std::optional<Place> place(std::uint64_t number) const;
  bool take(const Place& place, std::uint64_t unit);
  std::optional<Object> readSized(const Place& place);
  std::optional<Object> readFixed(const Place& place);
  std::optional<ValueTree> integer(std::size_t position, std::size_t size) const;

  Bytes contents_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t objects_ = 0;
  std::size_t top_ = 0;
  std::size_t offsets_ = 0;  // where objects end and their offset table starts
  std::uint64_t taken_ = 0;
};

/// Builds a value from an object table: each object once however often it is referred to, within the bounds,
/// and never in a circle. What an object means is the derived class's affair.
class TreeBuilder {
 public:
  explicit TreeBuilder(ObjectTable& table) : table_(table), built_(table.size()) {}
  virtual ~TreeBuilder() = default;

  /// The value of an object that stands in nothing.
  Result<ValueTree> build(std::uint64_t number);

 protected:
  struct Built {
    ValueTree value;
    std::uint32_t values = 1;  // with all that it holds, counted wherever it is referred to
    std::uint16_t levels = 0;  // of containers
    enum class State : std::uint8_t { None, Begun, Done } state = State::None;
  };

  /// The object `below` that many containers; null when it cannot be built.
  const Built* build(std::uint64_t number, std::size_t below);

  /// Keeps the first reason why nothing comes of it, for `build`. False.
  bool refuse(std::string why, ErrorCode code = kMalformed);

  /// Sets the value of `place` from the object, which stands `below` that many containers.
  virtual bool make(const Object& object, std::size_t below, Built& place) = 0;

  /// Puts the object into the list `place`.
  bool append(Built& place, std::uint64_t number, std::size_t below);

  /// Puts the object into the dictionary `place` under the string `key`.
  bool set(Built& place, std::uint64_t key, std::uint64_t number, std::size_t below);

  ObjectTable& table_;

 private:
  const Built* refused(std::uint64_t number, const char* why);
  const Built* tooDeep();
  bool count(Built& place, const Built& part);

  std::vector<Built> built_;
  std::uint64_t keyBytes_ = 0;
  std::string why_;
  ErrorCode code_ = kMalformed;
};

}  // namespace vantrel::plist::detail
