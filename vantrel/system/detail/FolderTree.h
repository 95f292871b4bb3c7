#pragma once

#include <functional>
#include <string>

namespace vantrel::system::detail {

/// Goes through everything below a folder, however deep and long the paths are: one descriptor, no recursion.
/// Links are entries like any other and are never followed.
struct TreeVisitor {
  /// An entry was found. `relativePath` goes from the walk's folder; `folder` and `name` are for the calls
  /// that end in "at".
  std::function<void(int folder, const char* name, const std::string& relativePath, bool isFolder)> found;

  /// Everything in a folder that was found has been visited, or it could not be opened. May be empty.
  std::function<void(int folder, const char* name)> left;
};

/// False when the folder cannot be read. Folders moved away while the walk is in them end it.
bool walkTree(const std::string& folder, bool followLink, const TreeVisitor& visitor);

}  // namespace vantrel::system::detail
