#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "vantrel/base/ValueTree.h"
#include "vantrel/data/PropertyListExtent.h"
#include "vantrel/host/detail/SettingsFile.h"

namespace vantrel::host::detail {

/// The changes that the file does not hold yet, the latest one of each key. One thread at a time.
class PendingChanges {
 public:
  using Serial = std::uint64_t;

  /// An absent value removes; the extent is that of key and value.
  void put(std::string_view key, std::optional<ValueTree> value, plist::Extent extent);

  /// Null when the key waits for nothing.
  const std::optional<ValueTree>* find(std::string_view key) const;

  bool empty() const { return changes_.empty(); }
  std::size_t size() const { return changes_.size(); }
  SettingsChanges all() const;

  /// What all of them take together.
  const plist::Extent& extent() const { return extent_; }

  /// Of the latest change ever put.
  Serial latest() const { return latest_; }

  /// Forgets what was put up to then and not again since.
  void forget(Serial upTo);

 private:
  struct Change {
    std::optional<ValueTree> value;
    plist::Extent extent;
    Serial serial = 0;
  };

  std::map<std::string, Change, std::less<>> changes_;
  plist::Extent extent_;
  Serial latest_ = 0;
};

}  // namespace vantrel::host::detail
