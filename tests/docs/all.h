// What every fragment sees, so that none has to say it.
#pragma once
#include <poll.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cassert>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <map>
#include <thread>

#include "public.inc"

using namespace vantrel;
using namespace std::chrono_literals;

// A fragment of a document; it names itself where it is defined.
struct Fragment {
  Fragment(const char* name, void (*run)()) { all()[name] = run; }
  static std::map<std::string, void (*)()>& all() {
    static std::map<std::string, void (*)()> fragments;
    return fragments;
  }
};
