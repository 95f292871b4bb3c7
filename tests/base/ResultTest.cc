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
  const std::optional<std::string> text = found(true);
  const std::optional<std::string> none = found(false);
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

TEST(Result, CopiesAndResultsOfOtherTypesTellTheSameReason) {
  const Result<std::string> failure = found(false);
  const Result<std::string> copy = failure;
  const auto passedOn = Result<int>::failed(failure);
  const Result<void> nothing = failure.error();
  EXPECT_EQ(&copy.error(), &failure.error());
  EXPECT_EQ(passedOn.error().description(), "not there");
  EXPECT_EQ(nothing.error(), failure.error());
  EXPECT_FALSE(nothing);
  EXPECT_TRUE(Result<void>());
}

TEST(Result, AFailureThatIsMovedAwayStaysOne) {
  Result<void> failure = Error{};
  const Result<void> taken = std::move(failure);
  EXPECT_FALSE(taken);
  EXPECT_FALSE(failure);
  Result<std::string> text = found(false);
  const Result<std::string> other = std::move(text);
  EXPECT_EQ(text, other);
}

}  // namespace
}  // namespace vantrel
