#pragma once

class CommandLine;

// Adds all subcommands to the command line, in the order of --help.
void addAllCommands(CommandLine& commandLine);
