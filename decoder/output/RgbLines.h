#pragma once

#include <cstdint>
#include <cstring>

#include "EightValues.h"
#include "FormedPicture.h"
#include "Inline.h"
#include "SampleLine.h"

// Calls write(x, to, streams) for pixels x to x + 7 of every group of eight that has pixels of [first, end). Groups
// begin at multiples of eight. A group that is not whole is written elsewhere, and its pixels are copied from there.
// `out` is the place of pixel `first`. Where the picture `mayStream` and groups have aligned places, `streams` is true
// for them.
template <OptimizationTarget target, unsigned int bytesPerPixel, class Write>
RAVELO_INLINE void forEachEight(std::uint32_t first, std::uint32_t end, std::uint8_t* out, bool mayStream,
                                Write const& write) {
    const std::uintptr_t placeOfFirst = reinterpret_cast<std::uintptr_t>(out) - std::uintptr_t{first} * bytesPerPixel;
    const bool streams = mayStream && placeOfFirst % 32 == 0;
    for (std::uint32_t x = first & ~7u; x < end; x += 8) {
        const std::uint32_t from = x < first ? first : x, to = x + 8 < end ? x + 8 : end;
        std::uint8_t* const place = out + std::size_t{from - first} * bytesPerPixel;
        if (to - from == 8) {
            write(x, place, streams);
            continue;
        }
        std::uint8_t group[8 * bytesPerPixel];
        write(x, group, false);
        std::memcpy(place, group + (from - x) * bytesPerPixel, std::size_t{to - from} * bytesPerPixel);
    }
}

// Pixels of codes of 8 bits.
template <OptimizationTarget target>
struct ByteCodes {
    static constexpr unsigned int kBytesPerPixel = 4;
    static constexpr std::int32_t kWhite = 255;
    static constexpr float kMostInSingle = kMostInSingleForBytes;

    // Values below 0 are left to the store.
    static EightFloats<target> inRange(EightFloats<target> codes) {
        return codes.limited(EightFloats<target>::broadcast(kWhite + 0.5));
    }
    static void store(std::uint8_t* to, EightInts<target> a, EightInts<target> b, EightInts<target> c,
                      EightInts<target> d, bool streams) {
        EightInts<target>::storePixels(to, a, b, c, d, streams);
    }
};

// The same of 16 bits.
template <OptimizationTarget target>
struct WordCodes {
    static constexpr unsigned int kBytesPerPixel = 8;
    static constexpr std::int32_t kWhite = 65535;
    static constexpr float kMostInSingle = kMostInSingleForWords;

    static EightFloats<target> inRange(EightFloats<target> codes) {
        return codes.limited(EightFloats<target>::broadcast(kWhite + 0.5)).notBelow(EightFloats<target>::broadcast(0));
    }
    static void store(std::uint8_t* to, EightInts<target> a, EightInts<target> b, EightInts<target> c,
                      EightInts<target> d, bool streams) {
        EightInts<target>::storeDeepPixels(to, a, b, c, d, streams);
    }
};

// Lines of samples to pixels of red, green, blue and alpha. Values are EightFloats or EightDoubles: what single
// precision is not enough for is computed in double, pixel by pixel, so that no pixel depends on those beside it.
template <OptimizationTarget target>
class RgbLines {
public:
    RgbLines(FormedPicture const& picture, SampleLine const& line) : m_picture(picture), m_line(line) {}

    // R G B A or B G R A of 8 bits for the pixels [first, end).
    void writeBytes(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        writeCodes<ByteCodes<target>>(first, end, out);
    }

    // The same of 16 bits.
    void writeWords(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        writeCodes<WordCodes<target>>(first, end, out);
    }

    // R G B A as binary16.
    void writeHalves(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        if (m_picture.is444)
            writeHalvesOf<true>(first, end, out);
        else
            writeHalvesOf<false>(first, end, out);
    }

private:
    using Floats = EightFloats<target>;
    using Doubles = EightDoubles<target>;
    using Ints = EightInts<target>;

    template <class Values>
    struct Rgb {
        Values red, green, blue;
    };

    template <class Values>
    struct Samples {
        Values y, cb, cr;

        Floats greatestMagnitude() const { return y.greaterMagnitude(cb.greaterMagnitude(cr)); }
    };

    template <class Values>
    struct Factors {
        explicit Factors(RgbFactors const& rgb)
            : luma(Values::broadcast(rgb.luma)),
              offset(Values::broadcast(rgb.offset)),
              crToRed(Values::broadcast(rgb.crToRed)),
              cbToGreen(Values::broadcast(rgb.cbToGreen)),
              crToGreen(Values::broadcast(rgb.crToGreen)),
              cbToBlue(Values::broadcast(rgb.cbToBlue)) {}

        Rgb<Values> operator()(Samples<Values> const& samples) const {
            const Values light = Values::multiplyAdd(samples.y, luma, offset);
            return {Values::multiplyAdd(samples.cr, crToRed, light),
                    Values::multiplyAdd(samples.cb, cbToGreen, Values::multiplyAdd(samples.cr, crToGreen, light)),
                    Values::multiplyAdd(samples.cb, cbToBlue, light)};
        }

        Values luma, offset, crToRed, cbToGreen, crToGreen, cbToBlue;
    };

    template <bool is444, class Values>
    static Values chromaAt(const float* chroma, std::uint32_t x) {
        if constexpr (is444)
            return Values::load(chroma + x);
        else
            return Values::sumsOfNeighbours(chroma + x / 2);
    }

    template <bool is444, class Values>
    Samples<Values> samplesAt(std::uint32_t x) const {
        return {Values::load(m_line.y + x), chromaAt<is444, Values>(m_line.cb, x),
                chromaAt<is444, Values>(m_line.cr, x)};
    }

    // Alpha from 0 to the value of white.
    Floats alphaAt(std::uint32_t x, double rounding) const {
        const Floats samples = Floats::load(m_line.alpha + x).limited(Floats::broadcast(m_picture.greatestAlpha));
        return Floats::multiplyAdd(samples, Floats::broadcast(m_picture.alphaScale), Floats::broadcast(rounding));
    }

    template <class Codes>
    void writeCodes(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        const bool isBgra = m_picture.output.form == PixelForm::Bgra;
        if (m_picture.is444)
            isBgra ? writeCodesOf<Codes, true, true>(first, end, out)
                   : writeCodesOf<Codes, true, false>(first, end, out);
        else
            isBgra ? writeCodesOf<Codes, false, true>(first, end, out)
                   : writeCodesOf<Codes, false, false>(first, end, out);
    }

    template <class Codes, bool is444, bool isBgra>
    void writeCodesOf(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        const Factors<Floats> factors(m_picture.rgb);
        Floats greatest = Floats::broadcast(0);
        forEachEight<target, Codes::kBytesPerPixel>(
            first, end, out,
            m_picture.streams, [&](std::uint32_t x, std::uint8_t * to, bool streams) __attribute__((always_inline)) {
                const Samples<Floats> samples = samplesAt<is444, Floats>(x);
                greatest = greatest.greaterMagnitude(samples.greatestMagnitude());
                storeInSingle<Codes, isBgra>(x, samples, factors, to, streams);
            });
        if (greatest.hasAbove(Codes::kMostInSingle))
            writeMixed<Codes, is444, isBgra>(first, end, out);
    }

    template <class Codes, bool isBgra>
    void storeInSingle(std::uint32_t x, Samples<Floats> const& samples, Factors<Floats> const& factors,
                       std::uint8_t* to, bool streams) const {
        const Rgb<Floats> rgb = factors(samples);
        storeRgb<Codes, isBgra>(x,
                                {Ints::truncated(Codes::inRange(rgb.red)), Ints::truncated(Codes::inRange(rgb.green)),
                                 Ints::truncated(Codes::inRange(rgb.blue))},
                                to, streams);
    }

    template <class Codes, bool isBgra>
    void storeRgb(std::uint32_t x, Rgb<Ints> const& rgb, std::uint8_t* to, bool streams) const {
        const Ints alpha = m_line.alpha == nullptr ? Ints::broadcast(Codes::kWhite) : Ints::truncated(alphaAt(x, 0.5));
        Codes::store(to, isBgra ? rgb.blue : rgb.red, rgb.green, isBgra ? rgb.red : rgb.blue, alpha, streams);
    }

    template <class Codes, bool is444, bool isBgra>
    void writeMixed(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        const Factors<Floats> single(m_picture.rgb);
        const Factors<Doubles> precise(m_picture.rgb);
        const Doubles most = Doubles::broadcast(Codes::kWhite + 0.5);
        forEachEight<target, Codes::kBytesPerPixel>(
            first, end, out, false, [&](std::uint32_t x, std::uint8_t* to, bool) {
                const Samples<Floats> samples = samplesAt<is444, Floats>(x);
                float greatest[8];
                samples.greatestMagnitude().store(greatest);
                storeInSingle<Codes, isBgra>(x, samples, single, to, false);
                const Rgb<Doubles> rgb = precise(samplesAt<is444, Doubles>(x));
                std::uint8_t pixels[8 * Codes::kBytesPerPixel];
                storeRgb<Codes, isBgra>(x,
                                        {Ints::truncated(rgb.red.limited(most)),
                                         Ints::truncated(rgb.green.limited(most)),
                                         Ints::truncated(rgb.blue.limited(most))},
                                        pixels, false);
                for (std::size_t i = 0; i < 8; ++i)
                    if (greatest[i] > Codes::kMostInSingle)
                        std::memcpy(to + i * Codes::kBytesPerPixel, pixels + i * Codes::kBytesPerPixel,
                                    Codes::kBytesPerPixel);
            });
    }

    // A small difference of large terms keeps its relative precision as a half.
    template <bool is444>
    void writeHalvesOf(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        const Factors<Floats> single(m_picture.rgb);
        const Factors<Doubles> precise(m_picture.rgb);
        const Floats least = Floats::broadcast(kLeastHalfInSingle), leastPerStep = Floats::broadcast(kLeastHalfPerStep);
        forEachEight<target, 8>(
            first, end, out,
            m_picture.streams, [&](std::uint32_t x, std::uint8_t * to, bool streams) __attribute__((always_inline)) {
                const Samples<Floats> samples = samplesAt<is444, Floats>(x);
                Rgb<Floats> rgb = single(samples);
                const Floats bound = Floats::multiplyAdd(samples.greatestMagnitude(), leastPerStep, least);
                const Floats smallest = rgb.red.lesserMagnitude(rgb.green.lesserMagnitude(rgb.blue));
                if (bound.hasAbove(smallest))
                    rgb = refined<is444>(x, precise, bound, smallest, rgb);
                storeHalves(x, rgb, to, streams);
            });
    }

    // Not inlined, since it is rare and would keep the loop around it from being so.
    template <bool is444>
    [[gnu::noinline]] Rgb<Floats> refined(std::uint32_t x, Factors<Doubles> const& factors, Floats bound,
                                          Floats smallest, Rgb<Floats> rgb) const {
        const Rgb<Doubles> exact = factors(samplesAt<is444, Doubles>(x));
        return {bound.choiceWhereAbove(smallest, exact.red.rounded(), rgb.red),
                bound.choiceWhereAbove(smallest, exact.green.rounded(), rgb.green),
                bound.choiceWhereAbove(smallest, exact.blue.rounded(), rgb.blue)};
    }

    RAVELO_INLINE void storeHalves(std::uint32_t x, Rgb<Floats> const& rgb, std::uint8_t* to, bool streams) const {
        constexpr std::int32_t kOne = 0x3C00;
        const bool byInstruction = m_picture.convertsHalvesByInstruction;
        const Ints alpha =
            m_line.alpha == nullptr ? Ints::broadcast(kOne) : Ints::halves(alphaAt(x, 0.0), byInstruction);
        Ints::storeDeepPixels(to, Ints::halves(rgb.red, byInstruction), Ints::halves(rgb.green, byInstruction),
                              Ints::halves(rgb.blue, byInstruction), alpha, streams);
    }

    FormedPicture const& m_picture;
    SampleLine m_line;
};

// Samples or alpha of one line to codes of 8 bits: scale * value + offset, cut. The codes of [first, end) go to `out`.
template <OptimizationTarget target>
void writePlaneBytes(const float* samples, float greatest, float scale, float offset, std::uint32_t first,
                     std::uint32_t end, std::uint8_t* out) {
    using Floats = EightFloats<target>;
    const Floats most = Floats::broadcast(greatest);
    forEachEight<target, 1>(first, end, out, false, [&](std::uint32_t x, std::uint8_t* to, bool) {
        const Floats values = Floats::load(samples + x).limited(most);
        EightInts<target>::truncated(Floats::multiplyAdd(values, Floats::broadcast(scale), Floats::broadcast(offset)))
            .storeBytes(to);
    });
}
