#include "apps/vantrel/Terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "vantrel/loop/RunLoop.h"

namespace app {
namespace {

termios earlier;  // of standard input, while keys are read

/// Without those that whoever started the program has had ignored (nohup): blocked ones would come all the
/// same.
sigset_t setOf(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) sigaddset(&set, signal);
  }
  return set;
}

/// The key that stands for an arrow key's sequence "ESC [ A" to "ESC [ D".
char arrow(char last) {
  switch (last) {
    case 'A':
      return '+';
    case 'B':
      return '-';
    case 'C':
      return 'n';
    case 'D':
      return 'p';
    default:
      return 0;
  }
}

}  // namespace

bool stylesWanted() {
  const char* unwanted = std::getenv("NO_COLOR");
  return outputIsTerminal() && (unwanted == nullptr || *unwanted == 0);
}

bool outputIsTerminal() {
  const char* kind = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

bool outputShowsUnicode() {
  std::setlocale(LC_CTYPE, "");
  return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

bool inForeground() {
  const int terminal = isatty(STDIN_FILENO) == 1 ? STDIN_FILENO : STDOUT_FILENO;
  const pid_t group = tcgetpgrp(terminal);
  return group == -1 || group == getpgrp();
}

int terminalColumns() {
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

void KeyInput::enter() {
  if (isatty(STDIN_FILENO) != 1 || !inForeground()) return;
  if (!entered_ && tcgetattr(STDIN_FILENO, &earlier) != 0) return;
  termios single = earlier;
  single.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  single.c_cc[VMIN] = 1;
  single.c_cc[VTIME] = 0;
  if (tcsetattr(STDIN_FILENO, TCSANOW, &single) != 0 || entered_) return;
  entered_ = true;
  vantrel::RunLoop::main().watch(STDIN_FILENO, vantrel::RunLoop::Interest::Read, [this] { readKeys(); });
}

void KeyInput::leave() {
  if (!entered_) return;
  entered_ = false;
  vantrel::RunLoop::main().unwatch(STDIN_FILENO);
  // A job in the background would be stopped by this call, and the terminal is no longer its own.
  if (inForeground()) tcsetattr(STDIN_FILENO, TCSANOW, &earlier);
}

void KeyInput::readKeys() {
  char keys[64];
  const ssize_t count = read(STDIN_FILENO, keys, sizeof keys);
  if (count <= 0) {
    vantrel::RunLoop::main().unwatch(STDIN_FILENO);
    return;
  }
  for (ssize_t at = 0; at < count; ++at) {
    char key = keys[at];
    if (key == '\033') {
      const bool isArrow = at + 2 < count && (keys[at + 1] == '[' || keys[at + 1] == 'O');
      key = isArrow ? arrow(keys[at + 2]) : '\0';
      if (isArrow) at += 2;
    }
    pressed_(key);
  }
}

void SignalWatch::block(std::initializer_list<int> signals) {
  const sigset_t set = setOf(signals);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

SignalWatch::SignalWatch(std::initializer_list<int> signals, std::function<void(int)> received) {
  const sigset_t set = setOf(signals);
  descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor_ < 0) return;
  vantrel::RunLoop::main().watch(descriptor_, vantrel::RunLoop::Interest::Read,
                                 [descriptor = descriptor_, received = std::move(received)] {
                                   signalfd_siginfo info{};
                                   if (read(descriptor, &info, sizeof info) == sizeof info)
                                     received(static_cast<int>(info.ssi_signo));
                                 });
}

SignalWatch::~SignalWatch() {
  if (descriptor_ < 0) return;
  vantrel::RunLoop::main().unwatch(descriptor_);
  close(descriptor_);
}

void SignalWatch::takeDefault(int signal) {
  const sigset_t set = setOf({signal});
  const auto handler = std::signal(signal, SIG_DFL);
  sigset_t before;
  pthread_sigmask(SIG_UNBLOCK, &set, &before);
  std::raise(signal);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  std::signal(signal, handler);
}

}  // namespace app
