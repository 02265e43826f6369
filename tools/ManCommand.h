#pragma once

class CommandLine;

// Adds the subcommand and its options to the command line.
void addManCommand(CommandLine& commandLine);
