#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Journal.h"

namespace vantrel::testing {

/// What fake players have in common; `Self` is the fake and `Seam` what it stands for. The test moves its
/// position and lets it report; it never does so by itself.
template <class Self, class Seam>
class FakePlayer : public Seam {
 public:
  using Roll = std::vector<Self*>;

  FakePlayer(std::string name, std::shared_ptr<Roll> roll, Tell tell)
      : name_(std::move(name)), roll_(std::move(roll)), tell_(std::move(tell)) {}
  ~FakePlayer() override {
    EXPECT_FALSE(reporting_) << "destroyed from inside its own report";
    std::erase(*roll_, this);
  }

  double currentTime() const override { return currentTime_; }
  float volume() const override { return volume_; }

 protected:
  bool tell(const std::string& what) const {
    if (tell_) tell_(name_ + ": " + what);
    return true;
  }

  // A copy is called: the report may replace the observer.
  template <class Operation, class... Details>
  void report(Operation operation, Details&&... details) {
    if (!operation) return;
    reporting_ = true;
    operation(std::forward<Details>(details)...);
    reporting_ = false;
  }

  std::string name_;
  bool playing_ = false;
  double currentTime_ = 0;
  float volume_ = 1;

 private:
  std::shared_ptr<Roll> roll_;
  Tell tell_;
  bool reporting_ = false;
};

/// Makes fakes and knows those alive.
template <class Player, class Factory>
class FakePlayers : public Factory {
 public:
  explicit FakePlayers(Tell tell = {}) : tell_(std::move(tell)) {}

  /// Players alive, oldest first.
  const std::vector<Player*>& alive() const { return *roll_; }
  Player& last() const { return *roll_->back(); }

  /// How often a player was asked for.
  int asked() const { return asked_; }

 protected:
  template <class... Arguments>
  std::unique_ptr<Player> add(Arguments&&... arguments) {
    auto player = std::make_unique<Player>(std::forward<Arguments>(arguments)..., roll_, tell_);
    roll_->push_back(player.get());
    return player;
  }

  int asked_ = 0;

 private:
  Tell tell_;
  std::shared_ptr<std::vector<Player*>> roll_ = std::make_shared<std::vector<Player*>>();
};

}  // namespace vantrel::testing
