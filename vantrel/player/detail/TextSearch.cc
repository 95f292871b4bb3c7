#include "vantrel/player/detail/TextSearch.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <limits>

namespace vantrel::player::detail {
namespace {

/// Vowel signs of many scripts are nonspacing too, but letters to their readers: only diacritics go.
bool isDiacritic(UChar32 character) {
  return u_charType(character) == U_NON_SPACING_MARK && u_hasBinaryProperty(character, UCHAR_DIACRITIC);
}

icu::UnicodeString withoutDiacritics(const icu::UnicodeString& text) {
  icu::UnicodeString plain;
  for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
    const UChar32 character = text.char32At(at);
    if (!isDiacritic(character)) plain.append(character);
  }
  return plain;
}

}  // namespace

std::u16string searchForm(std::string_view text) {
  // ICU counts in 32 bits, and decomposition lengthens; no title is this long.
  constexpr std::size_t kMostBytes = std::numeric_limits<std::int32_t>::max() / 32;
  text = text.substr(0, kMostBytes);
  UErrorCode error = U_ZERO_ERROR;
  const icu::Normalizer2* decomposer = icu::Normalizer2::getNFDInstance(error);
  icu::UnicodeString form =
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  if (U_SUCCESS(error)) form = decomposer->normalize(form, error);
  form = withoutDiacritics(form).foldCase();
  return std::u16string(form.getBuffer(), static_cast<std::size_t>(form.length()));
}

}  // namespace vantrel::player::detail
