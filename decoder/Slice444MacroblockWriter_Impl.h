#pragma once

#include "MacroblockWalk.h"
#include "PixelRules444.h"
#include "Slice444MacroblockWriter.h"

template <OptimizationTarget target, class Real>
Slice444MacroblockWriter<target, Real>::Slice444MacroblockWriter(PixelBuffer const& pixelBuffer)
    : Base(pixelBuffer),
      m_opaqueAlpha(static_cast<std::uint16_t>(this->m_maxValue)),
      m_writeMb(getWriteMbFcn(pixelBuffer)),
      m_writeMb16s(getWriteMb16sFcn(pixelBuffer)),
      m_writeMb16sHalf(getWriteMb16sHalfFcn(pixelBuffer)),
      m_writeMb16sQuarter(getWriteMb16sQuarterFcn(pixelBuffer)),
      m_writeMb16sEighth(getWriteMb16sEighthFcn(pixelBuffer)) {}

template <OptimizationTarget target, class Real>
typename Slice444MacroblockWriter<target, Real>::WriteMb
Slice444MacroblockWriter<target, Real>::getWriteMbFcn(PixelBuffer const& pixelBuffer) {
    const bool rgb = pixelBuffer.colorCoding != ColorCoding_YCbCr;
    if (pixelBuffer.bitDepth <= 8) {
        if (rgb)
            return &Self::template writeMb<true, std::uint8_t>;
        return &Self::template writeMb<false, std::uint8_t>;
    }
    if (rgb)
        return &Self::template writeMb<true, std::uint16_t>;
    return &Self::template writeMb<false, std::uint16_t>;
}

template <OptimizationTarget target, class Real>
typename Slice444MacroblockWriter<target, Real>::WriteMb16s
Slice444MacroblockWriter<target, Real>::getWriteMb16sFcn(PixelBuffer const& pixelBuffer) {
    const bool rgb = pixelBuffer.colorCoding != ColorCoding_YCbCr;
    if (pixelBuffer.bitDepth <= 8) {
        if (rgb)
            return &Self::template writeMb16s<true, std::uint8_t>;
        return &Self::template writeMb16s<false, std::uint8_t>;
    }
    if (rgb)
        return &Self::template writeMb16s<true, std::uint16_t>;
    return &Self::template writeMb16s<false, std::uint16_t>;
}

template <OptimizationTarget target, class Real>
typename Slice444MacroblockWriter<target, Real>::WriteMb16sHalf
Slice444MacroblockWriter<target, Real>::getWriteMb16sHalfFcn(PixelBuffer const& pixelBuffer) {
    if (pixelBuffer.bitDepth != 8)
        return nullptr;
    if (pixelBuffer.colorCoding != ColorCoding_YCbCr)
        return &Self::template writeMb16s_Half<true, std::uint8_t>;
    return &Self::template writeMb16s_Half<false, std::uint8_t>;
}

template <OptimizationTarget target, class Real>
typename Slice444MacroblockWriter<target, Real>::WriteMb16sQuarter
Slice444MacroblockWriter<target, Real>::getWriteMb16sQuarterFcn(PixelBuffer const& pixelBuffer) {
    if (pixelBuffer.bitDepth != 8)
        return nullptr;
    if (pixelBuffer.colorCoding != ColorCoding_YCbCr)
        return &Self::template writeMb16s_Quarter<true, std::uint8_t>;
    return &Self::template writeMb16s_Quarter<false, std::uint8_t>;
}

template <OptimizationTarget target, class Real>
typename Slice444MacroblockWriter<target, Real>::WriteMb16sEighth
Slice444MacroblockWriter<target, Real>::getWriteMb16sEighthFcn(PixelBuffer const& pixelBuffer) {
    if (pixelBuffer.bitDepth != 8)
        return nullptr;
    if (pixelBuffer.colorCoding != ColorCoding_YCbCr)
        return &Self::template writeMb16s_Eighth<true, std::uint8_t>;
    return &Self::template writeMb16s_Eighth<false, std::uint8_t>;
}

template <OptimizationTarget target, class Real>
void Slice444MacroblockWriter<target, Real>::operator()(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8],
                                                        Real const (*cr)[8][8], std::uint16_t const*) const {
    (this->*m_writeMb)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
void Slice444MacroblockWriter<target, Real>::reconstructBlock16s(unsigned int mb, std::int16_t const (*y)[8][8],
                                                                 std::int16_t const (*cb)[8][8],
                                                                 std::int16_t const (*cr)[8][8],
                                                                 std::uint16_t const*) const {
    (this->*m_writeMb16s)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
void Slice444MacroblockWriter<target, Real>::reconstructBlock16s_Half(unsigned int mb, std::int16_t const (*y)[4][4],
                                                                      std::int16_t const (*cb)[4][4],
                                                                      std::int16_t const (*cr)[4][4],
                                                                      std::uint16_t const*) const {
    (this->*m_writeMb16sHalf)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
void Slice444MacroblockWriter<target, Real>::reconstructBlock16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2],
                                                                         std::int16_t const (*cb)[2][2],
                                                                         std::int16_t const (*cr)[2][2],
                                                                         std::uint16_t const*) const {
    (this->*m_writeMb16sQuarter)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
void Slice444MacroblockWriter<target, Real>::reconstructBlock16s_Eighth(unsigned int mb, std::int16_t const* y,
                                                                        std::int16_t const* cb, std::int16_t const* cr,
                                                                        std::uint16_t const*) const {
    (this->*m_writeMb16sEighth)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample>
void Slice444MacroblockWriter<target, Real>::writeMb(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8],
                                                     Real const (*cr)[8][8]) const {
    constexpr FormOf form = sizeof(Sample) == 1 ? FormOf::allByReciprocals : FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 64, y, cb, cr, OpaqueAlpha{m_opaqueAlpha});
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample>
void Slice444MacroblockWriter<target, Real>::writeMb16s(unsigned int mb, std::int16_t const (*y)[8][8],
                                                        std::int16_t const (*cb)[8][8],
                                                        std::int16_t const (*cr)[8][8]) const {
    constexpr FormOf form = sizeof(Sample) == 1 ? FormOf::allByReciprocals : FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 64, y, cb, cr, OpaqueAlpha{m_opaqueAlpha});
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample>
void Slice444MacroblockWriter<target, Real>::writeMb16s_Half(unsigned int mb, std::int16_t const (*y)[4][4],
                                                             std::int16_t const (*cb)[4][4],
                                                             std::int16_t const (*cr)[4][4]) const {
    constexpr FormOf form = sizeof(Sample) == 1 ? FormOf::allByReciprocals : FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 32, y, cb, cr, OpaqueAlpha{m_opaqueAlpha});
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample>
void Slice444MacroblockWriter<target, Real>::writeMb16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2],
                                                                std::int16_t const (*cb)[2][2],
                                                                std::int16_t const (*cr)[2][2]) const {
    constexpr FormOf form = sizeof(Sample) == 1 ? FormOf::allByReciprocals : FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 16, y, cb, cr, OpaqueAlpha{m_opaqueAlpha});
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample>
void Slice444MacroblockWriter<target, Real>::writeMb16s_Eighth(unsigned int mb, std::int16_t const* y,
                                                               std::int16_t const* cb, std::int16_t const* cr) const {
    constexpr FormOf form = sizeof(Sample) == 1 ? FormOf::allByReciprocals : FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 8, blocksOfOne(y), blocksOfOne(cb),
                                      blocksOfOne(cr), OpaqueAlpha{m_opaqueAlpha});
}
