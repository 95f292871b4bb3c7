#include "vantrel/codec/KWTools.h"
#include "vantrel/data/Json.h"
#include "vantrel/data/KeyedArchive.h"

namespace vantrel {
namespace {

constexpr std::string_view kArchiveKey = "Some Key Value";

std::optional<std::string> textOf(const std::optional<ValueTree>& value, ValueTree::Kind kind) {
  if (!value || value->kind() != kind) return std::nullopt;
  return json::writePretty(*value);
}

}  // namespace

std::optional<ValueTree> KWTools::jsonWithData(const std::optional<Bytes>& data) {
  if (!data) return std::nullopt;
  return json::parse(data->text());
}

std::optional<std::string> KWTools::dictionaryToJson(const std::optional<ValueTree>& dictionary) {
  return textOf(dictionary, ValueTree::Kind::Dictionary);
}

std::optional<std::string> KWTools::arrayToJson(const std::optional<ValueTree>& array) {
  return textOf(array, ValueTree::Kind::List);
}

std::optional<Bytes> KWTools::makeDataByDictionary(const std::optional<ValueTree>& dictionary) {
  return keyedarchive::archive(dictionary.value_or(ValueTree()), kArchiveKey);
}

std::optional<ValueTree> KWTools::makeDictionaryByData(const std::optional<Bytes>& data) {
  if (!data) return std::nullopt;
  std::optional<ValueTree> value = keyedarchive::unarchive(*data, kArchiveKey);
  return value && value->kind() != ValueTree::Kind::Null ? value : std::nullopt;
}

}  // namespace vantrel
