#include "vantrel/system/KWFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>

#include "vantrel/base/Utf8.h"
#include "vantrel/base/io/AtomicFile.h"
#include "vantrel/base/io/Files.h"
#include "vantrel/data/Json.h"
#include "vantrel/host/Host.h"
#include "vantrel/system/detail/FolderTree.h"
#include "vantrel/system/detail/StandardDirectory.h"

namespace vantrel {
namespace {

// The path as the system calls take it; absent when it is empty or a NUL byte would cut it short.
std::optional<std::string> systemPath(std::string_view path) {
  if (path.empty() || path.find('\0') != path.npos) return std::nullopt;
  return std::string(path);
}

// "folder/" names what "folder" does, but makes a link at the end be followed.
std::optional<std::string> withoutEndSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return systemPath(path);
}

bool exists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

bool createFolders(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool createEmptyFile(const std::string& path) {
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC;
  return static_cast<bool>(Descriptor(::open(path.c_str(), flags, 0666)));
}

std::optional<Bytes> contentsOf(std::optional<std::string_view> path) {
  try {
    return files::read(path.value_or(""));
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

std::string join(std::string folder, std::string_view part) {
  while (part.starts_with('/')) part.remove_prefix(1);
  while (part.ends_with('/')) part.remove_suffix(1);
  if (part.empty()) return folder;
  if (!folder.ends_with('/')) folder += '/';
  return folder += part;
}

std::string sizeText(double quotient, const char* unit) {
  char digits[64];
  const auto rounded = static_cast<double>(static_cast<float>(quotient));
  const auto [end, error] =
      std::to_chars(digits, digits + sizeof digits, rounded, std::chars_format::fixed, 2);
  return std::string(digits, end) + unit;
}

std::optional<std::string> resource(const Bundle& bundle, std::string_view name) {
  if (!systemPath(name)) return std::nullopt;
  const auto path = bundle.pathForResource(name);
  if (!path) return std::nullopt;
  return path->string();
}

}  // namespace

bool KWFile::createPath(std::string_view path) {
  const auto file = withoutEndSlashes(path);
  if (!file) return false;
  if (exists(*file)) {
    createEmptyFile(*file);
    return true;
  }
  const auto slash = file->rfind('/');
  if (slash != file->npos && slash > 0 && !createFolders(file->substr(0, slash))) return false;
  return createEmptyFile(*file);
}

std::string KWFile::createOn_MiddlePath_File(std::uint64_t base, std::optional<std::string_view> middle,
                                             std::optional<std::string_view> file) {
  std::string folder = join(system::detail::standardDirectory(base), middle.value_or(""));
  if (systemPath(folder) && !exists(folder)) createFolders(folder);
  if (!file) return folder;
  std::string path = join(folder, *file);
  if (systemPath(path) && !exists(path)) createEmptyFile(path);
  return path;
}

std::string KWFile::listPath_MiddlePath_File(std::uint64_t base, std::string_view middle,
                                             std::optional<std::string_view> file) {
  return join(join(system::detail::standardDirectory(base), middle), file.value_or(""));
}

std::optional<std::string> KWFile::findPath_MiddlePath_File(std::uint64_t base, std::string_view middle,
                                                            std::optional<std::string_view> file) {
  std::string path = listPath_MiddlePath_File(base, middle, file);
  if (!systemPath(path) || !exists(path)) return std::nullopt;
  return path;
}

std::string KWFile::fileByte(std::int64_t bytes) {
  constexpr std::int64_t kMega = std::int64_t{1} << 20;
  constexpr std::int64_t kGiga = std::int64_t{1} << 30;
  constexpr std::int64_t kTera = std::int64_t{1} << 40;
  constexpr std::int64_t kTooLarge = std::int64_t{1} << 50;
  const auto count = static_cast<double>(bytes);
  if (bytes < kMega) return sizeText(count / 1024.0, "Kb");
  if (bytes < kGiga) return sizeText(count / static_cast<double>(kMega), "Mb");
  if (bytes < kTera) return sizeText(count / static_cast<double>(kGiga), "Gb");
  if (bytes < kTooLarge) return sizeText(count / static_cast<double>(kTera), "Tb");
  return "-1";
}

bool KWFile::renameOldName_NewName(std::string_view oldPath, std::string_view newPath) {
  const auto from = systemPath(oldPath);
  const auto to = systemPath(newPath);
  return from && to && ::rename(from->c_str(), to->c_str()) == 0;
}

bool KWFile::removePath(std::string_view path) {
  const auto target = withoutEndSlashes(path);
  if (!target) return false;
  const std::string_view last = std::string_view(*target).substr(target->rfind('/') + 1);
  if (last.empty() || last == "." || last == "..") return false;

  struct stat status {};
  if (::lstat(target->c_str(), &status) != 0) return false;
  if (!S_ISDIR(status.st_mode)) return ::unlink(target->c_str()) == 0;
  const auto unlinkFile = [](int folder, const char* name, const std::string&, bool isFolder) {
    if (!isFolder) ::unlinkat(folder, name, 0);
  };
  const auto unlinkFolder = [](int folder, const char* name) { ::unlinkat(folder, name, AT_REMOVEDIR); };
  system::detail::walkTree(*target, false, {unlinkFile, unlinkFolder});
  return ::rmdir(target->c_str()) == 0;
}

bool KWFile::writeData_fillFile(const Bytes& data, std::string_view path) {
  return AtomicFile::replace(path, data.span()).has_value();
}

void KWFile::writeData_endFile(const Bytes& data, std::string_view path) {
  const auto name = systemPath(path);
  if (!name) return;
  const Descriptor file(::open(name->c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  // When cutting back fails too there is nothing left to try, and the operation reports nothing.
  if (!files::write(file.get(), data.span()) && ::ftruncate(file.get(), status.st_size) != 0) return;
}

std::string KWFile::find_File(std::string_view subBundle, std::string_view name) {
  const auto folder = resource(*Host::current().bundle, subBundle);
  if (!folder) return {};
  return resource(Bundle(*folder), name).value_or("");
}

std::optional<std::string> KWFile::find(std::string_view name) {
  return resource(*Host::current().bundle, name);
}

std::optional<ValueTree> KWFile::JsonPath(std::optional<std::string_view> path) {
  return JsonData(contentsOf(path));
}

std::optional<ValueTree> KWFile::JsonData(const std::optional<Bytes>& data) {
  if (!data) return std::nullopt;
  return json::parse(data->text());
}

std::optional<std::string> KWFile::stringPath(std::optional<std::string_view> path) {
  const auto contents = contentsOf(path);
  if (!contents || !text::isValidUtf8(contents->text())) return std::nullopt;
  return std::string(contents->text());
}

std::optional<std::vector<std::string>> KWFile::subPaths(std::optional<std::string_view> path) {
  const auto folder = systemPath(path.value_or(""));
  if (!folder) return std::nullopt;
  std::vector<std::string> paths;
  const auto add = [&paths](int, const char*, const std::string& relativePath, bool) {
    paths.push_back(relativePath);
  };
  if (!system::detail::walkTree(*folder, true, {add, nullptr})) return std::nullopt;
  return paths;
}

std::int64_t KWFile::sizeOfFile(std::string_view path) {
  const auto file = systemPath(path);
  struct stat status {};
  if (!file || ::stat(file->c_str(), &status) != 0) return 0;
  return status.st_size;
}

}  // namespace vantrel
