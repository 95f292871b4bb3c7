#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Output.h"

int main(int argc, char** argv) {
  app::prepareStreams();
  return app::runProgram(argc, argv, VANTREL_VERSION, [](app::Command& program) {
    registerPlayCommand(program);
    registerByteCommands(program);
    registerCodecCommands(program);
    registerValueCommands(program);
    registerTimeCommands(program);
    registerFileCommands(program);
    registerListCommands(program);
    registerUrlCommands(program);
  });
}
