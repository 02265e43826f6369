#include "Subcommands.h"

#include "BenchCommand.h"
#include "CompareCommand.h"
#include "CompletionCommand.h"
#include "DecodeCommand.h"
#include "EncodeCommand.h"
#include "InfoCommand.h"
#include "InspectCommand.h"
#include "ManCommand.h"
#include "VerifyCommand.h"

void addAllCommands(CommandLine& commandLine) {
    addInfoCommand(commandLine);
    addDecodeCommand(commandLine);
    addEncodeCommand(commandLine);
    addVerifyCommand(commandLine);
    addInspectCommand(commandLine);
    addCompareCommand(commandLine);
    addBenchCommand(commandLine);
    addCompletionCommand(commandLine);
    addManCommand(commandLine);
}
