#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

// What all harnesses share. A harness is one file with LLVMFuzzerTestOneInput; it links either libFuzzer or ReplayMain.

// Ends the process with a message when a property does not hold.
void require(bool holds, const char* property);

// Takes values from the front of an input. An empty input gives zeros.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : m_rest(data, size) {}

    std::uint8_t byte();
    std::uint32_t below(std::uint32_t bound); // bound in [1, 65536]
    std::uint16_t word();
    std::span<const std::uint8_t> bytes(std::size_t count);
    std::span<const std::uint8_t> rest() const { return m_rest; }
    bool empty() const { return m_rest.empty(); }

private:
    std::span<const std::uint8_t> m_rest;
};

// A copy in a heap block of exactly its size, so that a sanitizer sees a read one byte outside it.
class ExactCopy {
public:
    explicit ExactCopy(std::span<const std::uint8_t> bytes);
    const std::uint8_t* data() const { return m_bytes.get(); }
    std::size_t size() const { return m_size; }

private:
    std::unique_ptr<std::uint8_t[]> m_bytes;
    std::size_t m_size;
};
