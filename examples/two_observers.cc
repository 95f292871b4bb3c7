// Two observers of one event: a registration that ends with its scope, and one that ends with its owner.
#include <iostream>

#include "vantrel/loop/NotificationBus.h"

using namespace vantrel;

struct Thermostat : std::enable_shared_from_this<Thermostat> {
  void listen() {
    NotificationBus::shared().add(
        "TEMPERATURE", [this](const Notification& event) { heating = *event.object->asDouble() < 20; },
        weak_from_this());
  }
  bool heating = false;
};

int main() {
  NotificationBus& bus = NotificationBus::shared();
  const auto printing = bus.add("TEMPERATURE", [](const Notification& event) {
    std::cout << "it is " << *event.object->asDouble() << " degrees\n";
  });
  auto thermostat = std::make_shared<Thermostat>();
  thermostat->listen();

  bus.post("TEMPERATURE", 18.5);
  std::cout << (thermostat->heating ? "heating\n" : "not heating\n");
  thermostat.reset();
  bus.post("TEMPERATURE", 21.0);
}
