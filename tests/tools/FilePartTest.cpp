#include "FilePart.h"

#include <numeric>

#include <gtest/gtest.h>

TEST(FilePartTest, BytesKeepTheirOrderWhateverTheirNumber) {
    std::vector<std::uint8_t> written;
    std::size_t parts = 0;
    const ByteSink sink = [&](std::span<const std::uint8_t> bytes) {
        written.insert(written.end(), bytes.begin(), bytes.end());
        ++parts;
    };
    std::vector<std::uint8_t> expected;
    FilePart part(sink);
    // None, one, some, and more than fit at once.
    for (const std::size_t count : {0u, 1u, 100000u, 40000u, 300000u, 7u}) {
        std::vector<std::uint8_t> bytes(count);
        std::iota(bytes.begin(), bytes.end(), static_cast<std::uint8_t>(count));
        part.append(bytes);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    part.flush();
    EXPECT_TRUE(written == expected);
    EXPECT_GT(parts, 1u);
    part.flush();
    EXPECT_TRUE(written == expected) << "nothing is left";
}
