#pragma once

#include "apps/vantrel/Command.h"

/// The groups of subcommands, one file each.
namespace app {

void registerPlayCommand(Command& program);
void registerByteCommands(Command& program);
void registerCodecCommands(Command& program);
void registerValueCommands(Command& program);
void registerTimeCommands(Command& program);
void registerFileCommands(Command& program);
void registerListCommands(Command& program);
void registerUrlCommands(Command& program);

}  // namespace app
