#include "vantrel/host/Bundle.h"

#include <system_error>

namespace vantrel {

Bundle Bundle::ofExecutable(PathArgument executable, TextArgument name) {
  const std::filesystem::path folder = std::filesystem::path(*executable).parent_path();
  std::error_code error;
  if (std::filesystem::is_directory(folder / "Resources", error)) return Bundle(folder / "Resources");
  return Bundle((folder / ".." / "share" / *name).lexically_normal());
}

std::optional<std::filesystem::path> Bundle::pathForResource(PathArgument name) const {
  const std::filesystem::path relative(*name);
  // A NUL would end the name early for the system and let it look for something else.
  const bool isCut = relative.native().find('\0') != std::string::npos;
  if (relative.empty() || relative.is_absolute() || isCut) return std::nullopt;
  for (const auto& component : relative) {
    if (component == "..") return std::nullopt;
  }
  std::filesystem::path found = folder_ / relative;
  std::error_code error;
  if (!std::filesystem::exists(found, error)) return std::nullopt;
  return found;
}

}  // namespace vantrel
