#pragma once

#include <memory>
#include <utility>

#include "vantrel/host/Host.h"

namespace vantrel::tests {

/// Installs a host as long as it lives.
class ScopedHost {
 public:
  explicit ScopedHost(Host host) : before_(Host::install(std::move(host))) {}
  ~ScopedHost() { Host::install(before_ ? *before_ : Host()); }
  ScopedHost(const ScopedHost&) = delete;

 private:
  std::shared_ptr<const Host> before_;
};

}  // namespace vantrel::tests
