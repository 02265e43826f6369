#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "CommandError.h"
#include "CommandLine.h"
#include "Console.h"
#include "DecodedFrame.h"

// A subcommand with its options in `Options`, whose run function gets them.
template <typename Options>
Subcommand addCommand(CommandLine& commandLine, std::string const& name, std::string const& description,
                      std::shared_ptr<Options> const& options, ExitCode (*run)(Options const&)) {
    return commandLine.add(name, description, [options, run] { return run(*options); });
}

// Options that several subcommands have.
void addVerbosityOptions(Subcommand& command, Verbosity& verbosity);
void addForceOption(Subcommand& command, bool& force);
void addMaxPixelsOption(Subcommand& command, std::uint64_t& maxPixels);
void addMaxReadFactorOption(Subcommand& command, std::uint32_t& maxReadFactor);
void addThreadsOption(Subcommand& command, std::size_t& threads);
void addInFlightOption(Subcommand& command, std::size_t& inFlight);
void addJsonOption(Subcommand& command, bool& json);
void addFramesArgument(Subcommand& command, std::vector<std::string>& frames, std::string& numbers);

// --size, --depth, --coding and --target.
struct DecodeOptions {
    std::string size = "full";
    std::uint32_t bitDepth = 0; // 0: the default of the command
    std::string coding;         // empty: the default of the command
    std::string target = "auto";
    std::string failed = "black";
    std::string markColor = "FF00FF";
};
void addDecodeOptions(Subcommand& command, DecodeOptions& options);

// --failed and --mark-color.
void addFailedSlicesOptions(Subcommand& command, DecodeOptions& options);

// Throws CommandError for a target that the processor cannot run, and for reduced sizes with more than eight bits.
DecodeForm requestOf(DecodeOptions const& options, std::uint32_t defaultBitDepth, ColorCoding defaultCoding);
