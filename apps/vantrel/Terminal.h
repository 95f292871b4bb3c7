#pragma once

#include <functional>
#include <initializer_list>

/// The terminal that the program runs on. Main thread only.
namespace app {

/// Whether colours and the like belong on standard output: it is a terminal and NO_COLOR is not set.
bool stylesWanted();

/// Whether a line on standard output can be drawn over again and again.
bool outputIsTerminal();

/// Whether the user's character set shows more than ASCII. Takes over the user's character types.
bool outputShowsUnicode();

/// Whether this process may read from and draw on the terminal just now, or another job of the shell does.
bool inForeground();

/// Columns of the terminal on standard output; 80 when it does not tell.
int terminalColumns();

/// Single keys from standard input, unechoed, as long as it is entered. Nothing happens when standard input
/// is no terminal or another job has it.
class KeyInput {
 public:
  /// A key's character; the arrow keys count as 'p' and 'n' (left, right), '-' and '+' (down, up).
  explicit KeyInput(std::function<void(char)> pressed) : pressed_(std::move(pressed)) {}
  ~KeyInput() { leave(); }
  KeyInput(const KeyInput&) = delete;
  KeyInput& operator=(const KeyInput&) = delete;

  /// Entering again sets the terminal again, for a shell may have changed it while the program was stopped.
  void enter();

  /// Gives the terminal back as it was.
  void leave();

 private:
  void readKeys();

  std::function<void(char)> pressed_;
  bool entered_ = false;
};

/// Hands signals to a function on the main run loop, as long as it lives. They must be blocked since before
/// the first other thread was started (`block`).
class SignalWatch {
 public:
  static void block(std::initializer_list<int> signals);

  SignalWatch(std::initializer_list<int> signals, std::function<void(int)> received);
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  /// Lets a blocked signal do to this process what it does to any other: end or stop it.
  static void takeDefault(int signal);

 private:
  int descriptor_;
};

}  // namespace app
