#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include <fmt/format.h>

// All code is inlined from the header, so that no library is needed at run time.
#define XXH_INLINE_ALL
#include <xxhash.h>

#ifdef RAVELO_HAVE_MD5
#include <md5.h>
#endif

#include "CommandError.h"
#include "OutputFormat.h"

// Both hash the rows one after the other, without the gaps between them: the bytes of the raw format.

std::string xxh3OfPixels(DecodedFrame const& frame) {
    const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state(XXH3_createState(), XXH3_freeState);
    if (!state)
        throw std::bad_alloc();
    XXH3_64bits_reset(state.get());
    for (std::uint32_t y = 0; y < frame.height(); ++y)
        XXH3_64bits_update(state.get(), frame.row(y).data(), frame.row(y).size());
    return fmt::format("{:016x}", XXH3_64bits_digest(state.get()));
}

#ifdef RAVELO_HAVE_MD5

std::string md5OfPixels(DecodedFrame const& frame) {
    MD5_CTX context;
    MD5Init(&context);
    for (std::uint32_t y = 0; y < frame.height(); ++y)
        MD5Update(&context, frame.row(y).data(), frame.row(y).size());
    std::array<std::uint8_t, MD5_DIGEST_LENGTH> digest;
    MD5Final(digest.data(), &context);
    return fmt::format("{:02x}", fmt::join(digest, ""));
}

#else

std::string md5OfPixels(DecodedFrame const&) {
    throw failure("this ravelo was built without MD5; use xxh3");
}

#endif
