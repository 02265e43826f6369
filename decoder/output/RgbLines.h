#pragma once

#include <cstdint>
#include <cstring>

#include "EightValues.h"
#include "FormedPicture.h"

// The samples of one line of a slice, from its first pixel on. Chroma of 4:2:2 has one sample for two pixels, and one
// more after the last. `alpha` is null where the pixels are opaque. Up to seven values after the last are read.
struct SampleLine {
    const float* y;
    const float* cb;
    const float* cr;
    const float* alpha;
};

// Calls write(x, to) for pixels x to x + 7 of every group of eight that has pixels of [first, end). Groups begin at
// multiples of eight. A group that is not whole is written elsewhere, and its pixels are copied from there. `out` is
// the place of pixel `first`.
template <OptimizationTarget target, unsigned int bytesPerPixel, class Write>
[[gnu::always_inline]] inline void forEachEight(std::uint32_t first, std::uint32_t end, std::uint8_t* out,
                                                Write const& write) {
    for (std::uint32_t x = first & ~7u; x < end; x += 8) {
        const std::uint32_t from = x < first ? first : x, to = x + 8 < end ? x + 8 : end;
        std::uint8_t* const place = out + std::size_t{from - first} * bytesPerPixel;
        if (to - from == 8) {
            write(x, place);
            continue;
        }
        std::uint8_t group[8 * bytesPerPixel];
        write(x, group);
        std::memcpy(place, group + (from - x) * bytesPerPixel, std::size_t{to - from} * bytesPerPixel);
    }
}

// Lines of samples to pixels of red, green, blue and alpha. Values are EightFloats or EightDoubles: in single precision
// a code of 8 bits is less than one off as long as no sample exceeds kMostInSingle; all else needs double precision.
template <OptimizationTarget target>
class RgbLines {
public:
    RgbLines(FormedPicture const& picture, SampleLine const& line) : m_picture(picture), m_line(line) {}

    // R G B A or B G R A of 8 bits for the pixels [first, end).
    void writeBytes(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        if (m_picture.is444)
            writeBytesOf<true>(first, end, out);
        else
            writeBytesOf<false>(first, end, out);
    }

    // The same of 16 bits.
    void writeWords(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        if (m_picture.is444)
            writeWordsOf<true>(first, end, out);
        else
            writeWordsOf<false>(first, end, out);
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

    // Rounding adds at most 2^-24 of the sum of all terms, which is below 3 * 255 * kMostInSingle / 438.
    static constexpr float kMostInSingle = 1 << 20;

    template <class Values>
    struct Rgb {
        Values red, green, blue;
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

        Rgb<Values> operator()(Values const& y, Values const& cb, Values const& cr) const {
            const Values light = Values::multiplyAdd(y, luma, offset);
            return {Values::multiplyAdd(cr, crToRed, light),
                    Values::multiplyAdd(cb, cbToGreen, Values::multiplyAdd(cr, crToGreen, light)),
                    Values::multiplyAdd(cb, cbToBlue, light)};
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
    Rgb<Values> rgbAt(std::uint32_t x, Factors<Values> const& factors) const {
        return factors(Values::load(m_line.y + x), chromaAt<is444, Values>(m_line.cb, x),
                       chromaAt<is444, Values>(m_line.cr, x));
    }

    // Alpha from 0 to the value of white.
    Floats alphaAt(std::uint32_t x, double rounding) const {
        const Floats samples = Floats::load(m_line.alpha + x).limited(Floats::broadcast(m_picture.greatestAlpha));
        return Floats::multiplyAdd(samples, Floats::broadcast(m_picture.alphaScale), Floats::broadcast(rounding));
    }

    Ints alphaCodeAt(std::uint32_t x, std::int32_t white) const {
        return m_line.alpha == nullptr ? Ints::broadcast(white) : Ints::truncated(alphaAt(x, 0.5));
    }

    template <bool is444>
    void writeBytesOf(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        if (m_picture.output.form == PixelForm::Bgra)
            writeBytesInOrder<is444, true>(first, end, out);
        else
            writeBytesInOrder<is444, false>(first, end, out);
    }

    template <bool is444, bool isBgra>
    void writeBytesInOrder(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        const Factors<Floats> factors(m_picture.rgb);
        Floats greatest = Floats::broadcast(0);
        forEachEight<target, 4>(first, end, out, [&](std::uint32_t x, std::uint8_t* to) {
            greatest = greatest.greaterMagnitude(storeInSingle<is444, isBgra>(x, factors, to));
        });
        if (greatest.hasAbove(kMostInSingle))
            writeMixedBytes<is444, isBgra>(first, end, out);
    }

    // Stores eight pixels and returns the greatest magnitude of the samples of each.
    template <bool is444, bool isBgra>
    Floats storeInSingle(std::uint32_t x, Factors<Floats> const& factors, std::uint8_t* to) const {
        const Floats y = Floats::load(m_line.y + x);
        const Floats cb = chromaAt<is444, Floats>(m_line.cb, x), cr = chromaAt<is444, Floats>(m_line.cr, x);
        const Rgb<Floats> rgb = factors(y, cb, cr);
        const Floats most = Floats::broadcast(255.5);
        const Ints red = Ints::truncated(rgb.red.limited(most)), blue = Ints::truncated(rgb.blue.limited(most));
        Ints::storePixels(to, isBgra ? blue : red, Ints::truncated(rgb.green.limited(most)), isBgra ? red : blue,
                          alphaCodeAt(x, 255));
        return y.greaterMagnitude(cb.greaterMagnitude(cr));
    }

    // Pixels with large samples in double precision, the others as ever: so no pixel depends on those beside it.
    template <bool is444, bool isBgra>
    void writeMixedBytes(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        const Factors<Floats> single(m_picture.rgb);
        const Factors<Doubles> precise(m_picture.rgb);
        forEachEight<target, 4>(first, end, out, [&](std::uint32_t x, std::uint8_t* to) {
            float greatest[8];
            storeInSingle<is444, isBgra>(x, single, to).store(greatest);
            const Rgb<Ints> rgb = codesAt<is444>(x, precise, 255.5);
            std::uint8_t pixels[8 * 4];
            Ints::storePixels(pixels, isBgra ? rgb.blue : rgb.red, rgb.green, isBgra ? rgb.red : rgb.blue,
                              alphaCodeAt(x, 255));
            for (unsigned int i = 0; i < 8; ++i)
                if (greatest[i] > kMostInSingle)
                    std::memcpy(to + 4 * i, pixels + 4 * i, 4);
        });
    }

    template <bool is444>
    Rgb<Ints> codesAt(std::uint32_t x, Factors<Doubles> const& factors, double greatest) const {
        const Doubles most = Doubles::broadcast(greatest);
        const Rgb<Doubles> rgb = rgbAt<is444>(x, factors);
        return {Ints::truncated(rgb.red.limited(most)), Ints::truncated(rgb.green.limited(most)),
                Ints::truncated(rgb.blue.limited(most))};
    }

    template <bool is444>
    void writeWordsOf(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        const bool isBgra = m_picture.output.form == PixelForm::Bgra;
        const Factors<Doubles> factors(m_picture.rgb);
        forEachEight<target, 8>(first, end, out, [&](std::uint32_t x, std::uint8_t* to) {
            const Rgb<Ints> rgb = codesAt<is444>(x, factors, 65535.5);
            Ints::storeDeepPixels(to, isBgra ? rgb.blue : rgb.red, rgb.green, isBgra ? rgb.red : rgb.blue,
                                  alphaCodeAt(x, 65535));
        });
    }

    // In double precision, since a small difference of large terms keeps its relative precision as a half.
    template <bool is444>
    void writeHalvesOf(std::uint32_t first, std::uint32_t end, std::uint8_t* out) const {
        constexpr std::int32_t kOne = 0x3C00;
        const Factors<Doubles> factors(m_picture.rgb);
        const bool byInstruction = m_picture.convertsHalvesByInstruction;
        forEachEight<target, 8>(first, end, out, [&](std::uint32_t x, std::uint8_t* to) {
            const Rgb<Doubles> rgb = rgbAt<is444>(x, factors);
            const Ints alpha =
                m_line.alpha == nullptr ? Ints::broadcast(kOne) : Ints::halves(alphaAt(x, 0.0), byInstruction);
            Ints::storeDeepPixels(to, Ints::halves(rgb.red.rounded(), byInstruction),
                                  Ints::halves(rgb.green.rounded(), byInstruction),
                                  Ints::halves(rgb.blue.rounded(), byInstruction), alpha);
        });
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
    forEachEight<target, 1>(first, end, out, [&](std::uint32_t x, std::uint8_t* to) {
        const Floats values = Floats::load(samples + x).limited(most);
        EightInts<target>::truncated(Floats::multiplyAdd(values, Floats::broadcast(scale), Floats::broadcast(offset)))
            .storeBytes(to);
    });
}
