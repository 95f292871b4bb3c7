#pragma once

#include <string>
#include <string_view>

/// Search without regard to case and diacritics. Stateless; any thread.
namespace vantrel::player::detail {

/// The text (UTF-8; what is invalid becomes U+FFFD) in the form in which it is compared: canonically
/// decomposed (Unicode NFD), without nonspacing diacritics, case folded. "Café" gives "cafe", "Straße" gives
/// "strasse".
std::u16string searchForm(std::string_view text);

}  // namespace vantrel::player::detail
