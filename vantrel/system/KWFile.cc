#include "vantrel/system/KWFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "vantrel/base/NumberText.h"
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
std::optional<std::string> systemPath(PathArgument path) {
  const std::string_view name = *path;
  if (name.empty() || name.find('\0') != name.npos) return std::nullopt;
  return std::string(name);
}

// "folder/" names what "folder" does, but makes a link at the end be followed.
std::optional<std::string> withoutEndSlashes(PathArgument path) {
  std::string_view name = *path;
  while (name.size() > 1 && name.back() == '/') name.remove_suffix(1);
  return systemPath(name);
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

std::optional<Bytes> contentsOf(PathArgument path) { return files::read(path); }

/// Cuts a file back to its old length unless all went well, also when there was no memory to say why not.
class CutBack {
 public:
  CutBack(int file, off_t length) : file_(file), length_(length) {}
  ~CutBack() {
    if (file_ >= 0 && ::ftruncate(file_, length_) != 0) return;  // there is nothing left to try
  }
  CutBack(const CutBack&) = delete;
  CutBack& operator=(const CutBack&) = delete;

  void cancel() { file_ = -1; }

 private:
  int file_;
  off_t length_;
};

std::string join(std::string folder, PathArgument below) {
  std::string_view part = *below;
  while (part.starts_with('/')) part.remove_prefix(1);
  while (part.ends_with('/')) part.remove_suffix(1);
  if (part.empty()) return folder;
  if (!folder.ends_with('/')) folder += '/';
  return folder += part;
}

std::string sizeText(double quotient, const char* unit) {
  return text::fixedDecimals(static_cast<double>(static_cast<float>(quotient)), 2) + unit;
}

std::optional<std::string> resource(const Bundle& bundle, PathArgument name) {
  const auto path = bundle.pathForResource(name);
  if (!path) return std::nullopt;
  return path->string();
}

}  // namespace

bool KWFile::createPath(PathArgument path) {
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

std::string KWFile::createOn_MiddlePath_File(std::uint64_t base, PathArgument middle, PathArgument file) {
  std::string folder = join(system::detail::standardDirectory(base), middle);
  if (systemPath(folder) && !exists(folder)) createFolders(folder);
  if (!file) return folder;
  std::string path = join(folder, file);
  if (systemPath(path) && !exists(path)) createEmptyFile(path);
  return path;
}

std::string KWFile::listPath_MiddlePath_File(std::uint64_t base, PathArgument middle, PathArgument file) {
  return join(join(system::detail::standardDirectory(base), middle), file);
}

std::optional<std::string> KWFile::findPath_MiddlePath_File(std::uint64_t base, PathArgument middle,
                                                            PathArgument file) {
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

bool KWFile::renameOldName_NewName(PathArgument oldPath, PathArgument newPath) {
  const auto from = systemPath(oldPath);
  const auto to = systemPath(newPath);
  return from && to && ::rename(from->c_str(), to->c_str()) == 0;
}

bool KWFile::removePath(PathArgument path) {
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

bool KWFile::writeData_fillFile(const Bytes& data, PathArgument path) {
  return AtomicFile::replace(path, data.span()).has_value();
}

void KWFile::writeData_endFile(const Bytes& data, PathArgument path) {
  const auto name = systemPath(path);
  if (!name) return;
  const Descriptor file(::open(name->c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  CutBack cutBack(file.get(), status.st_size);
  if (files::write(file.get(), data.span())) cutBack.cancel();
}

std::string KWFile::find_File(PathArgument subBundle, PathArgument name) {
  const auto folder = resource(*Host::current().bundle, subBundle);
  if (!folder) return {};
  return resource(Bundle(*folder), name).value_or("");
}

std::optional<std::string> KWFile::find(PathArgument name) { return resource(*Host::current().bundle, name); }

std::optional<ValueTree> KWFile::JsonPath(PathArgument path) { return JsonData(contentsOf(path)); }

std::optional<ValueTree> KWFile::JsonData(const std::optional<Bytes>& data) {
  if (!data) return std::nullopt;
  return json::parse(data->text());
}

std::optional<std::string> KWFile::stringPath(PathArgument path) {
  const auto contents = contentsOf(path);
  if (!contents || !text::isValidUtf8(contents->text())) return std::nullopt;
  return std::string(contents->text());
}

std::optional<std::vector<std::string>> KWFile::subPaths(PathArgument path) {
  const auto folder = systemPath(path);
  if (!folder) return std::nullopt;
  std::vector<std::string> paths;
  const auto add = [&paths](int, const char*, const std::string& relativePath, bool) {
    paths.push_back(relativePath);
  };
  if (!system::detail::walkTree(*folder, true, {add, nullptr})) return std::nullopt;
  return paths;
}

std::int64_t KWFile::sizeOfFile(PathArgument path) {
  const auto file = systemPath(path);
  struct stat status {};
  if (!file || ::stat(file->c_str(), &status) != 0) return 0;
  return status.st_size;
}

}  // namespace vantrel
