#pragma once

#include <cstdint>

#include "SliceMacroblockWriter.h"

// Single values as blocks of one, and back.
static inline Blocks<std::int16_t, 1> blocksOfOne(std::int16_t const* values) {
    return reinterpret_cast<Blocks<std::int16_t, 1>>(values);
}
static inline std::int16_t const* valuesOf(Blocks<std::int16_t, 1> blocks) {
    return reinterpret_cast<std::int16_t const*>(blocks);
}

// What the three writers share: for each operation a pointer to the member that serves the output form, chosen once in
// the constructor, and the calls through it. Below the choice no branch asks for the form.
//
// `Writer` derives from this and adds its rules: kWritesRgb says whether its pixels depend on the coding of colours,
// and write<rgb, Sample, alphaDepth>() writes a macroblock of blocks of any value and size. `AlphaDepth` is the further
// argument of the choice, for a writer whose pixels depend on the depth of an alpha plane.
template <class Writer, OptimizationTarget target, class Real, class... AlphaDepth>
class WriterForms : public SliceMacroblockWriter<target, Real> {
public:
    void operator()(unsigned int mb, Blocks<Real, 8> y, Blocks<Real, 8> cb, Blocks<Real, 8> cr,
                    std::uint16_t const* alpha) const final {
        (this->*m_members.writeMb)(mb, y, cb, cr, alpha);
    }
    void reconstructBlock16s(unsigned int mb, Blocks<std::int16_t, 8> y, Blocks<std::int16_t, 8> cb,
                             Blocks<std::int16_t, 8> cr, std::uint16_t const* alpha) const final {
        (this->*m_members.writeMb16s)(mb, y, cb, cr, alpha);
    }
    void reconstructBlock16s_Half(unsigned int mb, Blocks<std::int16_t, 4> y, Blocks<std::int16_t, 4> cb,
                                  Blocks<std::int16_t, 4> cr, std::uint16_t const* alpha) const final {
        (this->*m_members.writeMb16sHalf)(mb, y, cb, cr, alpha);
    }
    void reconstructBlock16s_Quarter(unsigned int mb, Blocks<std::int16_t, 2> y, Blocks<std::int16_t, 2> cb,
                                     Blocks<std::int16_t, 2> cr, std::uint16_t const* alpha) const final {
        (this->*m_members.writeMb16sQuarter)(mb, y, cb, cr, alpha);
    }
    void reconstructBlock16s_Eighth(unsigned int mb, std::int16_t const* y, std::int16_t const* cb,
                                    std::int16_t const* cr, std::uint16_t const* alpha) const final {
        (this->*m_members.writeMb16sEighth)(mb, y, cb, cr, alpha);
    }

protected:
    template <class Values>
    using Member = void (WriterForms::*)(unsigned int mb, Values y, Values cb, Values cr,
                                         std::uint16_t const* alpha) const;
    using WriteMb = Member<Blocks<Real, 8>>;
    using WriteMb16s = Member<Blocks<std::int16_t, 8>>;
    using WriteMb16sHalf = Member<Blocks<std::int16_t, 4>>;
    using WriteMb16sQuarter = Member<Blocks<std::int16_t, 2>>;
    using WriteMb16sEighth = Member<std::int16_t const*>;

    struct Members {
        WriteMb writeMb;
        WriteMb16s writeMb16s;
        WriteMb16sHalf writeMb16sHalf;
        WriteMb16sQuarter writeMb16sQuarter;
        WriteMb16sEighth writeMb16sEighth;
    };

    WriterForms(OutputForm const& form, PixelBuffer const& pixelBuffer, AlphaDepth... alphaDepth)
        : SliceMacroblockWriter<target, Real>(form, pixelBuffer),
          m_members{getWriteMbFcn(pixelBuffer, alphaDepth...), getWriteMb16sFcn(pixelBuffer, alphaDepth...),
                    getWriteMb16sHalfFcn(pixelBuffer, alphaDepth...),
                    getWriteMb16sQuarterFcn(pixelBuffer, alphaDepth...),
                    getWriteMb16sEighthFcn(pixelBuffer, alphaDepth...)} {}

    static WriteMb getWriteMbFcn(PixelBuffer const& pixelBuffer, AlphaDepth... alphaDepth) {
        return membersFor(pixelBuffer, alphaDepth...).writeMb;
    }
    static WriteMb16s getWriteMb16sFcn(PixelBuffer const& pixelBuffer, AlphaDepth... alphaDepth) {
        return membersFor(pixelBuffer, alphaDepth...).writeMb16s;
    }
    // The reduced forms exist for 8-bit output alone; null otherwise.
    static WriteMb16sHalf getWriteMb16sHalfFcn(PixelBuffer const& pixelBuffer, AlphaDepth... alphaDepth) {
        return pixelBuffer.bitDepth == 8 ? membersFor(pixelBuffer, alphaDepth...).writeMb16sHalf : nullptr;
    }
    static WriteMb16sQuarter getWriteMb16sQuarterFcn(PixelBuffer const& pixelBuffer, AlphaDepth... alphaDepth) {
        return pixelBuffer.bitDepth == 8 ? membersFor(pixelBuffer, alphaDepth...).writeMb16sQuarter : nullptr;
    }
    static WriteMb16sEighth getWriteMb16sEighthFcn(PixelBuffer const& pixelBuffer, AlphaDepth... alphaDepth) {
        return pixelBuffer.bitDepth == 8 ? membersFor(pixelBuffer, alphaDepth...).writeMb16sEighth : nullptr;
    }

private:
    static Members membersFor(PixelBuffer const& pixelBuffer, unsigned int alphaDepth = 8) {
        const bool rgb = Writer::kWritesRgb && pixelBuffer.colorCoding != ColorCoding_YCbCr;
        if (pixelBuffer.bitDepth <= 8)
            return rgb ? membersFor<true, std::uint8_t>(alphaDepth) : membersFor<false, std::uint8_t>(alphaDepth);
        return rgb ? membersFor<true, std::uint16_t>(alphaDepth) : membersFor<false, std::uint16_t>(alphaDepth);
    }
    template <bool rgb, class Sample>
    static Members membersFor(unsigned int alphaDepth) {
        constexpr bool kRgb = rgb && Writer::kWritesRgb;
        constexpr unsigned int kDeepAlpha = sizeof...(AlphaDepth) != 0 ? 16 : 8;
        return alphaDepth == 16 ? members<kRgb, Sample, kDeepAlpha>() : members<kRgb, Sample, 8>();
    }
    template <bool rgb, class Sample, unsigned int alphaDepth>
    static constexpr Members members() {
        return {&WriterForms::writeMb<rgb, Sample, alphaDepth>, &WriterForms::writeMb16s<rgb, Sample, alphaDepth>,
                &WriterForms::writeMb16s_Half<rgb, std::uint8_t, alphaDepth>,
                &WriterForms::writeMb16s_Quarter<rgb, std::uint8_t, alphaDepth>,
                &WriterForms::writeMb16s_Eighth<rgb, std::uint8_t, alphaDepth>};
    }

    Writer const& writer() const { return static_cast<Writer const&>(*this); }

    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb(unsigned int mb, Blocks<Real, 8> y, Blocks<Real, 8> cb, Blocks<Real, 8> cr,
                 std::uint16_t const* alpha) const {
        writer().template write<rgb, Sample, alphaDepth>(mb, y, cb, cr, alpha);
    }
    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb16s(unsigned int mb, Blocks<std::int16_t, 8> y, Blocks<std::int16_t, 8> cb, Blocks<std::int16_t, 8> cr,
                    std::uint16_t const* alpha) const {
        writer().template write<rgb, Sample, alphaDepth>(mb, y, cb, cr, alpha);
    }
    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb16s_Half(unsigned int mb, Blocks<std::int16_t, 4> y, Blocks<std::int16_t, 4> cb,
                         Blocks<std::int16_t, 4> cr, std::uint16_t const* alpha) const {
        writer().template write<rgb, Sample, alphaDepth>(mb, y, cb, cr, alpha);
    }
    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb16s_Quarter(unsigned int mb, Blocks<std::int16_t, 2> y, Blocks<std::int16_t, 2> cb,
                            Blocks<std::int16_t, 2> cr, std::uint16_t const* alpha) const {
        writer().template write<rgb, Sample, alphaDepth>(mb, y, cb, cr, alpha);
    }
    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb16s_Eighth(unsigned int mb, std::int16_t const* y, std::int16_t const* cb, std::int16_t const* cr,
                           std::uint16_t const* alpha) const {
        writer().template write<rgb, Sample, alphaDepth>(mb, blocksOfOne(y), blocksOfOne(cb), blocksOfOne(cr), alpha);
    }

    const Members m_members;
};
