#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FrameMaker.h"
#include "GuardedBytes.h"
#include "KernelChoice.h"
#include "Random.h"
#include "SlowCanvas.h"
#include "SlowDecoder.h"

// Runs the decoder for the tests of whole frames: no byte after its input can be read, and its output is between guard
// bytes.

// The output of a decode call: a stretch of bytes around the address that the call is given. Every byte starts with a
// value that depends on its place, so that stray stores show.
class OutputBuffer {
public:
    OutputBuffer(std::int64_t lowestOffset, std::uint64_t numBytes);
    static std::uint8_t fillAt(std::uint64_t index) { return static_cast<std::uint8_t>(0x35 + index * 0x9D); }

    std::uint8_t* pixels() { return m_bytes.data() - m_lowestOffset; }
    std::uint8_t at(std::int64_t offset) const { return m_bytes[static_cast<std::size_t>(offset - m_lowestOffset)]; }
    std::uint16_t sample16At(std::int64_t offset) const;
    bool isUntouched(std::int64_t offset) const;
    std::vector<std::uint8_t> const& bytes() const { return m_bytes; }
    std::int64_t lowestOffset() const { return m_lowestOffset; }

private:
    std::int64_t m_lowestOffset;
    std::vector<std::uint8_t> m_bytes;
};

// A buffer that has room for every write of this call, and for guards on both sides of it.
OutputBuffer bufferFor(std::span<const std::uint8_t> frame, DecodeRequest const& request);

// The decode call. Exceptions pass through.
int decode(std::span<const std::uint8_t> frame, DecodeRequest const& request, OutputBuffer& output,
           Variant const& variant = kPlainVariant);

// What the decode call writes for a request without faults.
OutputBuffer decoded(std::span<const std::uint8_t> frame, DecodeRequest const& request);

// The text of the exception of a call that must fail, or "" when it does not; `output` keeps what was written.
std::string failureOf(std::span<const std::uint8_t> frame, DecodeRequest const& request, OutputBuffer& output);

// Decodes with the decoder and with the slow model, and compares the whole buffers, guards included, bit for bit.
testing::AssertionResult decodesLikeModel(std::span<const std::uint8_t> frame, DecodeRequest const& request,
                                          Variant const& variant = kPlainVariant);

// The least stride that the call accepts, and the least with which every write of a reduced picture keeps to its line.
std::int64_t leastStride(std::span<const std::uint8_t> frame, DecodeRequest const& request);
std::int64_t safeStride(std::span<const std::uint8_t> frame, DecodeRequest const& request);

// The targets that this processor runs.
std::vector<OptimizationTarget> runnableTargets();
const char* nameOf(OptimizationTarget target);

std::string describe(DecodeRequest const& request);
