#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Input.h"
#include "apps/vantrel/Output.h"
#include "vantrel/net/KWHttp.h"

namespace app {
namespace {

int encode(const std::string& argument) {
  const auto text = textOf(argument);
  return text && writeLine(vantrel::KWHttp::encodeURL(*text)) ? kDone : kFailed;
}

int decode(const std::string& argument) {
  const auto text = textOf(argument);
  if (!text) return kFailed;
  const auto decoded = vantrel::KWHttp::decodeURL(*text);
  if (!decoded) return failed("an invalid percent sequence");
  return writeLine(*decoded) ? kDone : kFailed;
}

}  // namespace

void registerUrlCommands(Command& program) {
  Command url = program.add("url", "Percent-encoding of addresses",
                            "vantrel url encode 'http://host/a song.mp3'\n"
                            "vantrel url decode 'a%20song.mp3'");

  Command encoding =
      url.add("encode", "Encodes what an address cannot hold", "vantrel url encode 'a b?x=1&y=é'");
  const auto plain = encoding.argument("TEXT", "the readable address; -: standard input");
  encoding.run([=] { return encode(*plain); });

  Command decoding = url.add("decode", "Undoes percent-encoding", "vantrel url decode 'a%20b'");
  const auto encoded = decoding.argument("TEXT", "the encoded address; -: standard input");
  decoding.run([=] { return decode(*encoded); });
}

}  // namespace app
