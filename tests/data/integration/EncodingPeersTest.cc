#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>

#include "tests/data/PlistFiles.h"
#include "tests/support/ScratchFolder.h"
#include "vantrel/data/TextEncoding.h"

namespace vantrel {
namespace {

// Prints an encoding's number, bytes, and the text that these are; "-" where they are none. Left out are
// bytes that the header says are read differently: those that Windows gives a meaning where the codec has
// none, and private characters.
constexpr const char* kProgram = R"(
O = 0x80000000
exact = {1: 'ascii', 5: 'latin_1', 9: 'iso8859_2', 30: 'mac_roman', O+0x400: 'cp437', O+0x410: 'cp850',
         O+0x412: 'cp852', O+0x41B: 'cp866', O+0xA02: 'koi8_r', O+0xA08: 'koi8_u', O+0x506: 'cp1256'}
exact.update({O + 0x200 + part: f'iso8859_{part}' for part in range(1, 16) if part != 12})
windows = {O+0x500: 'cp1252', O+0x501: 'cp1250', O+0x502: 'cp1251', O+0x503: 'cp1253', O+0x504: 'cp1254',
           O+0x505: 'cp1255', O+0x507: 'cp1257', O+0x508: 'cp1258'}
wide = {8: 'cp932', O+0x420: 'cp932', O+0x421: 'gbk', O+0x422: 'cp949', O+0x631: 'gbk', O+0x632: 'gb18030',
        O+0x930: 'gb2312', O+0x940: 'euc_kr'}
singles = [bytes([byte]) for byte in range(256)]
rows = [[bytes([lead, trail]) for trail in range(0x40, 0xFF)] for lead in range(0x81, 0xFF)]
def text_of(code, codec):
    try:
        return code.decode(codec)
    except UnicodeDecodeError:
        return None
def show(number, code, text):
    print(f'{number:x}', code.hex() + '.', '-' if text is None else text.encode().hex() + '.')
def show_row(number, codec, codes, before=b'', after=b''):
    # Code page 932's free bytes are private characters there.
    texts = {c: text_of(before + c + after, codec) for c in codes}
    codes = [c for c, text in texts.items() if text is not None and not set(text) & set('\x80\uf8f0\uf8f1\uf8f2\uf8f3')]
    code = before + b''.join(codes) + after
    show(number, code, code.decode(codec))
for number, codec in exact.items():
    for code in singles: show(number, code, text_of(code, codec))
for number, codec in windows.items(): show_row(number, codec, singles)
for number, codec in wide.items():
    show_row(number, codec, singles[:128])
    for row in rows: show_row(number, codec, row)
show_row(O + 0x840, 'iso2022_kr', singles[:14] + singles[16:27] + singles[28:128], b'\x1b$)C')
for lead in [*range(0x21, 0x49), *range(0x4A, 0x7E)]:
    row = [bytes([lead, trail]) for trail in range(0x21, 0x7F) if (lead, trail) not in ((0x22, 0x66), (0x22, 0x67))]
    show_row(O + 0x840, 'iso2022_kr', row, b'\x1b$)C\x0e', b'\x0f')
for code in (b'~~', b'~', b'a~', b'~{VP~}~', b'~{VP~}'): show(O + 0xA05, code, text_of(code, 'hz'))
)";

TEST(EncodingPeers, ReadsEachCodeAsPythonDoes) {
  const tests::ScratchFolder folder;
  std::FILE* const python = popen(("python3 - > " + folder.at("encodings")).c_str(), "w");
  ASSERT_NE(python, nullptr);
  std::fputs(kProgram, python);
  ASSERT_EQ(pclose(python), 0);

  std::ifstream lines(folder.at("encodings"));
  std::string number, code, text;
  int count = 0;
  while (lines >> number >> code >> text) {
    const auto decoded = text::decode(test::bytesOfHex(code), std::stoull(number, nullptr, 16));
    // Both end in a dot, so that none is empty.
    const auto expected =
        text == "-" ? std::nullopt : std::optional(std::string(test::bytesOfHex(text).text()));
    EXPECT_EQ(decoded, expected) << number << ' ' << code;
    ++count;
  }
  EXPECT_GT(count, 6'000);
}

}  // namespace
}  // namespace vantrel
