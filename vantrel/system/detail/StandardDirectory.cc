#include "vantrel/system/detail/StandardDirectory.h"

#include "vantrel/base/io/StandardFolders.h"

namespace vantrel::system::detail {

std::string standardDirectory(std::uint64_t number) {
  switch (number) {
    case 5:
      return folders::config();
    case 9:
      return folders::user("DOCUMENTS", "Documents");
    case 12:
      return folders::user("DESKTOP", "Desktop");
    case 13:
      return folders::cache();
    case 14:
      return folders::data();
    case 15:
      return folders::user("DOWNLOAD", "Downloads");
    case 17:
      return folders::user("VIDEOS", "Videos");
    case 18:
      return folders::user("MUSIC", "Music");
    case 19:
      return folders::user("PICTURES", "Pictures");
    case 21:
      return folders::user("PUBLICSHARE", "Public");
    default:
      return folders::home();
  }
}

}  // namespace vantrel::system::detail
