// Edits a JSON file in place: a value deep inside, a list and a member.
#include <iostream>

#include "vantrel/base/io/AtomicFile.h"
#include "vantrel/base/io/Files.h"
#include "vantrel/data/Json.h"

using namespace vantrel;

int failed(const char* file, const Error& error) {
  return std::cerr << file << ": " << error.description() << '\n', 1;
}

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const char* const file = arguments[1];
  const Result<Bytes> contents = files::read(file);
  if (!contents) return failed(file, contents.error());
  Result<ValueTree> document = json::parse(contents->text());
  if (!document) return failed(file, document.error());

  if (!document->setAt({"users", 0, "age"}, 37)) return std::cerr << "no list of users\n", 1;
  if (ValueTree* users = document->edit("users")) users->append(ValueTree::dictionary({{"name", "Grace"}}));
  document->remove("draft");

  for (const ValueTree& user : (*document)["users"].items()) std::cout << user["name"] << '\n';
  const Result<std::string> text = json::writePretty(*document);
  if (!text) return failed(file, text.error());
  const Result<void> written = AtomicFile::replace(file, Bytes::copyOf(*text).span());
  return written ? 0 : failed(file, written.error());
}
