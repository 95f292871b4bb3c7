#include "vantrel/base/Result.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace vantrel {
namespace {

Result<std::string> found(bool isThere) {
  if (isThere) return std::string("text");
  return Error::saying("tests", 7, "not there");
}

TEST(Result, ConvertsToOptionalWhereTheReasonDoesNotMatter) {
  const std::optional<std::string> text = found(true), none = found(false);
  EXPECT_EQ(text, "text");
  EXPECT_EQ(none, std::nullopt);
  EXPECT_EQ(found(false).value_or("other"), "other");
  EXPECT_EQ(found(true), text);
  EXPECT_EQ(found(false), none);
  EXPECT_FALSE(found(true) == none);
  EXPECT_FALSE(found(false) == Result<std::string>(Error{}));
}

TEST(Result, MovesWhatCannotBeCopied) {
  Result<std::unique_ptr<int>> made = std::make_unique<int>(5);
  const std::optional<std::unique_ptr<int>> taken = std::move(made);
  EXPECT_EQ(**taken, 5);
  EXPECT_EQ(*made, nullptr);
  const Result<std::shared_ptr<const int>> converted = std::make_unique<int>(6);
  EXPECT_EQ(**converted, 6);
}

TEST(Result, CopiesAndResultsOfOtherTypesTellTheSameReasonAlsoWhereItWasMovedFrom) {
  Result<std::string> failure = found(false);
  const Result<std::string> copy = failure, moved = std::move(failure);
  Result<void> nothing = failure.error();
  const Result<void> taken = std::move(nothing);
  EXPECT_EQ(&copy.error(), &moved.error());
  EXPECT_EQ(Result<int>::failed(failure).error().description(), "not there");
  EXPECT_EQ(failure, moved);
  EXPECT_EQ(taken.error(), copy.error());
  EXPECT_FALSE(nothing);
  EXPECT_TRUE(Result<void>());
}

}  // namespace
}  // namespace vantrel
