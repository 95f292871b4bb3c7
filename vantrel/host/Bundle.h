#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "vantrel/base/Export.h"

namespace vantrel {

/// A folder of resources that an application ships. Stateless but for its path; usable from any thread.
class VANTREL_EXPORT Bundle {
 public:
  explicit Bundle(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// The resources of the program `name` at `executable`: the folder "Resources" beside it when there is one,
  /// else
  /// ../share/`name` as seen from it.
  static Bundle ofExecutable(const std::filesystem::path& executable, std::string_view name);

  const std::filesystem::path& resourcePath() const { return folder_; }

  /// The resource of that name (its extension included), absent when nothing is there. A name that is empty,
  /// absolute or leads out of the bundle is absent.
  std::optional<std::filesystem::path> pathForResource(std::string_view name) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace vantrel
