#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "DecodeRequest.h"
#include "FuzzInput.h"

// What the harnesses of the decoder share.

// How a frame is decoded. The stride is that of the output which outputFor() makes.
struct FuzzRequest : DecodeRequest {
    static constexpr std::size_t kNumBytes = 4;

    std::uint32_t variant = 1; // of the kernels; taken where the processor can run it
    bool strideIsNegative = false;
    std::uint32_t spareBytes = 0; // of the stride, above the one at which no write leaves its line
    bool inParallel = false;

    static FuzzRequest from(FuzzInput& input);
};

// An output buffer of exactly the bytes that a call may write.
struct FuzzOutput {
    std::unique_ptr<std::uint8_t[]> bytes;
    std::size_t numBytes = 0;
    std::int64_t stride = 0;
    std::uint8_t* pixels = nullptr;
    std::uint64_t lines = 0;
};
FuzzOutput outputFor(std::span<const std::uint8_t> frame, FuzzRequest const& request);

// Decodes and returns whether the call accepted the request; requires that it returns 1 or throws a documented text.
bool decodeInto(std::span<const std::uint8_t> frame, FuzzRequest const& request, FuzzOutput const& output);

// Whether the picture that a frame declares is small enough to be decoded thousands of times per second.
bool isSmallFrame(std::span<const std::uint8_t> frame);

// The variants of the kernels by index, which are chosen for the whole process.
bool canRunVariant(std::uint32_t variant);
void selectVariant(std::uint32_t variant);

bool canRunAvx2();

// Runs a decode in the calling thread alone; starting work on others would take longer than a small frame.
void serially(std::function<void()> const& work);
