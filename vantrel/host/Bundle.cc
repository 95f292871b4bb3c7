#include "vantrel/host/Bundle.h"

#include <system_error>

namespace vantrel {

Bundle Bundle::ofExecutable(const std::filesystem::path& executable, std::string_view name) {
  const std::filesystem::path folder = executable.parent_path();
  std::error_code error;
  if (std::filesystem::is_directory(folder / "Resources", error)) return Bundle(folder / "Resources");
  return Bundle((folder / ".." / "share" / name).lexically_normal());
}

std::optional<std::filesystem::path> Bundle::pathForResource(std::string_view name) const {
  // A NUL would end the name early for the system and let it look for something else.
  if (name.empty() || name.find('\0') != std::string_view::npos) return std::nullopt;
  const std::filesystem::path relative(name);
  if (relative.is_absolute()) return std::nullopt;
  for (const auto& component : relative) {
    if (component == "..") return std::nullopt;
  }
  std::filesystem::path found = folder_ / relative;
  std::error_code error;
  if (!std::filesystem::exists(found, error)) return std::nullopt;
  return found;
}

}  // namespace vantrel
