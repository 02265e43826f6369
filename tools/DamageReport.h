#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Console.h"
#include "DecodedFrame.h"
#include "Json.h"

// The slices of all pictures of a frame.
std::uint64_t countSlices(std::span<const std::uint8_t> frame);

// Those that were decoded, of a region those that it needs.
std::uint64_t countDecodedSlices(std::span<const std::uint8_t> frame, DecodedFrame const& decoded);

// "3 of 1020 slices failed".
std::string damageSummary(std::uint64_t failed, std::uint64_t slices);

// The component that failed: "y", "cb" or "cr".
const char* componentName(ravelo_damage const& damage);

// One slice that failed: its position in the frame and in the picture, and the component that failed.
std::string damageText(ravelo_damage const& damage);

// Prints a warning for a frame with slices that failed, and with `verbose` a line for each of them.
void warnOfDamage(Verbosity const& verbosity, std::string const& name, std::span<const std::uint8_t> frame,
                  DecodedFrame const& decoded);

Json jsonOfDamage(std::vector<ravelo_damage> const& damage);
