// Makes the address of a search from its words, and reads one back: address WORD...
#include <iostream>
#include <string>

#include "vantrel/net/KWHttp.h"

using namespace vantrel;

int main(int count, char** arguments) {
  std::string words;
  for (int i = 1; i < count; ++i) words += (i > 1 ? " " : "") + std::string(arguments[i]);
  const std::string address = KWHttp::encodeURL("https://example.org/find?q=" + words);
  std::cout << address << '\n';

  const auto text = KWHttp::decodeURL(address);
  if (!text) return std::cerr << "no valid UTF-8\n", 1;
  std::cout << *text << '\n';
}
