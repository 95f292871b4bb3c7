#include <gtest/gtest.h>
#ifdef VANTREL_TEST_LIBPLIST
#include <plist/plist.h>
#endif

#include <cstdio>
#include <sstream>
#include <string>

#include "tests/data/PlistFiles.h"
#include "tests/support/ScratchFolder.h"
#include "vantrel/data/Json.h"
#include "vantrel/data/KeyedArchive.h"
#include "vantrel/data/PropertyList.h"
#include "vantrel/data/TextEncoding.h"

namespace vantrel {
namespace {

class PeersTest : public testing::Test {
 protected:
  void put(const Bytes& contents) const { folder_.put("file", std::string(contents.text())); }
  Bytes contents() const { return Bytes::copyOf(folder_.contentsOf("file")); }

  /// Runs a Python program that finds the file's path in `file`; whether it came to its end.
  bool python(const std::string& program) const {
    const std::string text =
        "import datetime, json, plistlib\nfile = '" + folder_.at("file") + "'\n" + program;
    std::FILE* input = popen("python3 -", "w");
    if (!input) return false;
    std::fwrite(text.data(), 1, text.size(), input);
    return pclose(input) == 0;
  }

  const tests::ScratchFolder folder_;
};

// What both sides read; what JSON has no form for each adds by itself.
const std::string kJson = R"({
  "text": "a", "text again": "a", "Ω": "ü€𝄞", "empty": "", "zero": 0, "byte": 255, "short": 65535,
  "int": 4294967295, "long int": 4294967296, "max": 9223372036854775807, "unsigned": 18446744073709551615,
  "minus": -1, "min": -9223372036854775808, "one": 1, "real one": 1.0, "real": -0.1, "yes": true, "no": false,
  "list": [[], {}, [1, [2, [3]]]]})";

const std::string kInPython = "value = json.loads('''" + kJson + R"(''')
value.update({
    'long': 'x' * 70000, 'many': list(range(1000)), 'data': bytes(range(256)), 'no data': b'',
    'date': datetime.datetime(2024, 2, 29, 12, 30, 15, 500000), 'early': datetime.datetime(1969, 12, 31, 23, 59, 59),
})
def same(a, b):
    if type(a) is not type(b): return False
    if type(a) is dict: return a.keys() == b.keys() and all(same(a[k], b[k]) for k in a)
    if type(a) is list: return len(a) == len(b) and all(map(same, a, b))
    return a == b
)";

ValueTree valueInOurs() {
  ValueTree value = *json::parse(kJson);
  std::vector<std::uint8_t> every;
  for (int i = 0; i < 256; ++i) every.push_back(static_cast<std::uint8_t>(i));
  for (int i = 0; i < 1000; ++i) value.setAt({"many", i}, i);
  value.set("long", std::string(70'000, 'x'));
  value.set("data", Bytes(std::move(every)));
  value.set("no data", Bytes());
  value.set("date", Date{1709209815.5});
  value.set("early", Date{-1});
  return value;
}

TEST_F(PeersTest, PythonReadsOurPropertyLists) {
  put(*plist::write(valueInOurs()));
  EXPECT_TRUE(python(kInPython + "assert same(plistlib.load(open(file, 'rb')), value)\n"));
}

TEST_F(PeersTest, WeReadPropertyListsOfPython) {
  for (const char* form : {"BINARY", "XML"}) {
    // XML has whole seconds alone.
    ASSERT_TRUE(python(kInPython + "value['date'] = value['date'].replace(microsecond=0)\n" +
                       "plistlib.dump(value, open(file, 'wb'), fmt=plistlib.FMT_" + form + ")\n"));
    ValueTree expected = valueInOurs();
    expected.set("date", Date{1709209815});
    const auto read = plist::parse(contents());
    ASSERT_EQ(read, expected) << form;
    EXPECT_EQ((*read)["real one"].kind(), ValueTree::Kind::Floating) << form;
  }
}

// The platform's layout, written down once more in another language.
constexpr const char* kUnarchiving = R"(
def unarchive(root):
    assert root['$version'] == 100000 and root['$archiver'] == 'NSKeyedArchiver' and root['$objects'][0] == '$null'
    def follow(uid):
        o = root['$objects'][uid.data]
        if not isinstance(o, dict): return o
        cls = root['$objects'][o['$class'].data]
        assert cls['$classes'] == [cls['$classname'], 'NSObject']
        return {
            'NSDictionary': lambda: dict(zip(map(follow, o['NS.keys']), map(follow, o['NS.objects']))),
            'NSArray': lambda: [follow(x) for x in o['NS.objects']],
            'NSData': lambda: o['NS.data'],
            'NSDate': lambda: datetime.datetime(2001, 1, 1) + datetime.timedelta(seconds=o['NS.time']),
        }[cls['$classname']]()
    return follow(root['$top']['Some Key Value'])
)";

TEST_F(PeersTest, PythonReadsOurArchives) {
  put(*keyedarchive::archive(valueInOurs(), "Some Key Value"));
  EXPECT_TRUE(
      python(kInPython + kUnarchiving + "assert same(unarchive(plistlib.load(open(file, 'rb'))), value)\n"));
}

// Prints an encoding's number, bytes, and the text that these are; "-" where they are none. Left out are
// bytes that the header says are read differently: those that Windows gives a meaning where the codec has
// none, and private characters.
constexpr const char* kDecoding = R"(
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

TEST_F(PeersTest, TextsOfEachCodeAreThoseOfPython) {
  ASSERT_TRUE(python("import sys\nsys.stdout = open(file, 'w')\n" + std::string(kDecoding)));
  std::istringstream lines(folder_.contentsOf("file"));
  std::string number, code, text;
  int count = 0;
  for (; lines >> number >> code >> text; ++count) {
    // Both end in a dot, so that none is empty.
    EXPECT_EQ(text::decode(test::bytesOfHex(code), std::stoull(number, nullptr, 16)),
              text == "-" ? std::nullopt : std::optional(std::string(test::bytesOfHex(text).text())))
        << number << ' ' << code;
  }
  EXPECT_GT(count, 6'000);
}

#ifdef VANTREL_TEST_LIBPLIST
TEST_F(PeersTest, LibplistAndWeReadEachOther) {
  const ValueTree value = ValueTree::dictionary({{"Ω", ValueTree::list({1, "ü€𝄞", true, 0.5})},
                                                 {"data", Bytes::copyOf("data")},
                                                 {"date", Date{978307200 + 86400}}});
  const auto written = plist::write(value);
  plist_t read = nullptr;
  plist_from_bin(written->text().data(), static_cast<std::uint32_t>(written->size()), &read);
  ASSERT_TRUE(read);
  std::uint32_t length = 0;
  char* binary = nullptr;
  plist_to_bin(read, &binary, &length);
  EXPECT_EQ(plist::parse(Bytes::copyOf(std::string_view(binary, length))), value);
  plist_to_bin_free(binary);
  plist_free(read);
}
#endif

}  // namespace
}  // namespace vantrel
