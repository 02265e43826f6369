#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "CommandError.h"
#include "CommandLine.h"
#include "Console.h"
#include "DecodedFrame.h"
#include "FrameTask.h"
#include "InputSet.h"

// Adds a subcommand with its options in `Options`: `describe` declares them, and `run` gets their values.
template <typename Options>
void addCommand(CommandLine& commandLine, std::string const& name, std::string const& description,
                std::shared_ptr<Options> const& options, void (*describe)(Subcommand&, Options&),
                ExitCode (*run)(Options const&)) {
    commandLine.add(
        name, description, [options, describe](Subcommand& command) { describe(command, *options); },
        [options, run] { return run(*options); });
}

// Options of several subcommands.
void addVerbosityOptions(Subcommand& command, Verbosity& verbosity);
void addProgressOption(Subcommand& command, Verbosity& verbosity);
Argument addForceOption(Subcommand& command, bool& force);
void addMissingOption(Subcommand& command, std::string& missing, std::vector<std::string> const& choices);
void addKeepGoingOption(Subcommand& command, bool& keepGoing);
void addSkipExistingOption(Subcommand& command, bool& skipExisting, Argument const& force);
void addMaxPixelsOption(Subcommand& command, std::uint64_t& maxPixels);
void addFrameLimitsOptions(Subcommand& command, FrameLimits& limits);
void addThreadsOption(Subcommand& command, std::size_t& threads);
void addFrameLoopOptions(Subcommand& command, FrameLoopOptions& options);
void addTargetOption(Subcommand& command, std::string& target);
Argument addJsonOption(Subcommand& command, bool& json);
// --brief and --csv, which exclude each other and --json.
void addLineOptions(Subcommand& command, bool& brief, bool& csv, Argument const& json);
void addFramesArgument(Subcommand& command, std::vector<std::string>& frames, std::string& numbers);

void addHtmlOption(Subcommand& command, std::string& html);

// Throws CommandError if the page of --html cannot be written beside the report, or is one of the inputs.
void checkHtml(std::string const& html, bool reportsToStandardOutput, bool force, InputSet const& inputs);

// --size, --depth, --coding and --target.
struct RequestOptions {
    std::string size = "full";
    std::uint32_t bitDepth = 0; // 0: the default of the command
    std::string coding;         // empty: the default of the command
    std::string target = "auto";
    std::string failed = "black";
    std::string markColor = "FF00FF";
    std::string region; // empty: the whole picture
};
void addRegionOption(Subcommand& command, RequestOptions& options);
void addRequestOptions(Subcommand& command, RequestOptions& options);

// --failed and --mark-color.
void addFailedSlicesOptions(Subcommand& command, RequestOptions& options);

// Throws CommandError for a target that the processor cannot run, and for reduced sizes with more than 8 bits.
DecodeRequest requestOf(RequestOptions const& options, std::uint32_t defaultBitDepth, ColorCoding defaultCoding);

// The target with the name that --target takes. Throws CommandError where the processor cannot run it.
OptimizationTarget targetNamed(std::string const& name);
std::string targetName(OptimizationTarget target);
