#pragma once

#include <filesystem>
#include <optional>

#include "vantrel/base/Export.h"
#include "vantrel/base/io/PathArgument.h"

namespace vantrel {

/// A folder of resources that an application ships. Threads: any; it keeps its path and nothing else.
class VANTREL_EXPORT Bundle {
 public:
  explicit Bundle(PathArgument folder) : folder_(*folder) {}

  /// The resources of the program `name` at `executable`: the folder "Resources" beside it when there is one,
  /// else ../share/`name` as seen from it.
  static Bundle ofExecutable(PathArgument executable, TextArgument name);

  const std::filesystem::path& resourcePath() const { return folder_; }

  /// The resource of that name (its extension included), absent when nothing is there. A name that is empty,
  /// absolute or leads out of the bundle is absent.
  std::optional<std::filesystem::path> pathForResource(PathArgument name) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace vantrel
