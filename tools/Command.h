#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <CLI/App.hpp>

#include "CommandError.h"
#include "Console.h"
#include "DecodedFrame.h"

// What the parser has chosen: it is run after the whole command line has proved to be right.
struct Invocation {
    std::function<ExitCode()> run;
};

// One function for each subcommand; it adds the subcommand and its options to the parser.
void addInfoCommand(CLI::App& app, Invocation& invocation);
void addDecodeCommand(CLI::App& app, Invocation& invocation);
void addEncodeCommand(CLI::App& app, Invocation& invocation);
void addVerifyCommand(CLI::App& app, Invocation& invocation);
void addInspectCommand(CLI::App& app, Invocation& invocation);
void addCompareCommand(CLI::App& app, Invocation& invocation);
void addBenchCommand(CLI::App& app, Invocation& invocation);
void addCompletionCommand(CLI::App& app, Invocation& invocation);
void addManCommand(CLI::App& app, Invocation& invocation);

// The whole parser.
void addAllCommands(CLI::App& app, Invocation& invocation);

// A subcommand with its options in `Options`, whose run function gets them.
template <typename Options>
CLI::App* addCommand(CLI::App& app, Invocation& invocation, std::string const& name, std::string const& description,
                     std::shared_ptr<Options> const& options, ExitCode (*run)(Options const&)) {
    CLI::App* command = app.add_subcommand(name, description);
    command->callback([&invocation, options, run] { invocation.run = [options, run] { return run(*options); }; });
    return command;
}

// Options that several subcommands have.
void addVerbosityOptions(CLI::App& command, Verbosity& verbosity);
void addForceOption(CLI::App& command, bool& force);
void addMaxPixelsOption(CLI::App& command, std::uint64_t& maxPixels);
void addThreadsOption(CLI::App& command, std::size_t& threads);
void addInFlightOption(CLI::App& command, std::size_t& inFlight);
void addJsonOption(CLI::App& command, bool& json);
void addFramesArgument(CLI::App& command, std::vector<std::string>& frames, std::string& numbers);

// --size, --depth, --coding and --target.
struct DecodeOptions {
    std::string size = "full";
    std::uint32_t bitDepth = 0; // 0: the default of the command
    std::string coding;         // empty: the default of the command
    std::string target = "auto";
    std::string failed = "black";
    std::string markColor = "FF00FF";
};
void addDecodeOptions(CLI::App& command, DecodeOptions& options);

// --failed and --mark-color.
void addFailedSlicesOptions(CLI::App& command, DecodeOptions& options);

// Throws CommandError for a target that the processor cannot run, and for reduced sizes with more than eight bits.
DecodeForm requestOf(DecodeOptions const& options, std::uint32_t defaultBitDepth, ColorCoding defaultCoding);

// Writes a report to standard output.
void printReport(std::string const& text);
