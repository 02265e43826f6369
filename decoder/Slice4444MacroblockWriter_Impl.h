#pragma once

#include "MacroblockWalk.h"
#include "PixelRules444.h"
#include "Slice4444MacroblockWriter.h"

template <OptimizationTarget target, class Real>
Slice4444MacroblockWriter<target, Real>::Slice4444MacroblockWriter(PixelBuffer const& pixelBuffer,
                                                                   unsigned int alphaDepth, std::uint64_t alphaPitch)
    : Base(pixelBuffer),
      m_alphaPitch(alphaPitch),
      m_writeMb(getWriteMbFcn(pixelBuffer, alphaDepth)),
      m_writeMb16s(getWriteMb16sFcn(pixelBuffer, alphaDepth)),
      m_writeMb16sHalf(getWriteMb16sHalfFcn(pixelBuffer, alphaDepth)),
      m_writeMb16sQuarter(getWriteMb16sQuarterFcn(pixelBuffer, alphaDepth)),
      m_writeMb16sEighth(getWriteMb16sEighthFcn(pixelBuffer, alphaDepth)) {}

template <OptimizationTarget target, class Real>
typename Slice4444MacroblockWriter<target, Real>::WriteMb
Slice4444MacroblockWriter<target, Real>::getWriteMbFcn(PixelBuffer const& pixelBuffer, unsigned int alphaDepth) {
    const bool rgb = pixelBuffer.colorCoding != ColorCoding_YCbCr;
    if (pixelBuffer.bitDepth <= 8) {
        if (rgb)
            return alphaDepth == 16 ? &Self::template writeMb<true, std::uint8_t, 16u>
                                    : &Self::template writeMb<true, std::uint8_t, 8u>;
        return alphaDepth == 16 ? &Self::template writeMb<false, std::uint8_t, 16u>
                                : &Self::template writeMb<false, std::uint8_t, 8u>;
    }
    if (rgb)
        return alphaDepth == 16 ? &Self::template writeMb<true, std::uint16_t, 16u>
                                : &Self::template writeMb<true, std::uint16_t, 8u>;
    return alphaDepth == 16 ? &Self::template writeMb<false, std::uint16_t, 16u>
                            : &Self::template writeMb<false, std::uint16_t, 8u>;
}

template <OptimizationTarget target, class Real>
typename Slice4444MacroblockWriter<target, Real>::WriteMb16s
Slice4444MacroblockWriter<target, Real>::getWriteMb16sFcn(PixelBuffer const& pixelBuffer, unsigned int alphaDepth) {
    const bool rgb = pixelBuffer.colorCoding != ColorCoding_YCbCr;
    if (pixelBuffer.bitDepth <= 8) {
        if (rgb)
            return alphaDepth == 16 ? &Self::template writeMb16s<true, std::uint8_t, 16u>
                                    : &Self::template writeMb16s<true, std::uint8_t, 8u>;
        return alphaDepth == 16 ? &Self::template writeMb16s<false, std::uint8_t, 16u>
                                : &Self::template writeMb16s<false, std::uint8_t, 8u>;
    }
    if (rgb)
        return alphaDepth == 16 ? &Self::template writeMb16s<true, std::uint16_t, 16u>
                                : &Self::template writeMb16s<true, std::uint16_t, 8u>;
    return alphaDepth == 16 ? &Self::template writeMb16s<false, std::uint16_t, 16u>
                            : &Self::template writeMb16s<false, std::uint16_t, 8u>;
}

template <OptimizationTarget target, class Real>
typename Slice4444MacroblockWriter<target, Real>::WriteMb16sHalf
Slice4444MacroblockWriter<target, Real>::getWriteMb16sHalfFcn(PixelBuffer const& pixelBuffer, unsigned int alphaDepth) {
    if (pixelBuffer.bitDepth != 8)
        return nullptr;
    if (pixelBuffer.colorCoding != ColorCoding_YCbCr)
        return alphaDepth == 16 ? &Self::template writeMb16s_Half<true, std::uint8_t, 16u>
                                : &Self::template writeMb16s_Half<true, std::uint8_t, 8u>;
    return alphaDepth == 16 ? &Self::template writeMb16s_Half<false, std::uint8_t, 16u>
                            : &Self::template writeMb16s_Half<false, std::uint8_t, 8u>;
}

template <OptimizationTarget target, class Real>
typename Slice4444MacroblockWriter<target, Real>::WriteMb16sQuarter
Slice4444MacroblockWriter<target, Real>::getWriteMb16sQuarterFcn(PixelBuffer const& pixelBuffer,
                                                                 unsigned int alphaDepth) {
    if (pixelBuffer.bitDepth != 8)
        return nullptr;
    if (pixelBuffer.colorCoding != ColorCoding_YCbCr)
        return alphaDepth == 16 ? &Self::template writeMb16s_Quarter<true, std::uint8_t, 16u>
                                : &Self::template writeMb16s_Quarter<true, std::uint8_t, 8u>;
    return alphaDepth == 16 ? &Self::template writeMb16s_Quarter<false, std::uint8_t, 16u>
                            : &Self::template writeMb16s_Quarter<false, std::uint8_t, 8u>;
}

template <OptimizationTarget target, class Real>
typename Slice4444MacroblockWriter<target, Real>::WriteMb16sEighth
Slice4444MacroblockWriter<target, Real>::getWriteMb16sEighthFcn(PixelBuffer const& pixelBuffer,
                                                                unsigned int alphaDepth) {
    if (pixelBuffer.bitDepth != 8)
        return nullptr;
    if (pixelBuffer.colorCoding != ColorCoding_YCbCr)
        return alphaDepth == 16 ? &Self::template writeMb16s_Eighth<true, std::uint8_t, 16u>
                                : &Self::template writeMb16s_Eighth<true, std::uint8_t, 8u>;
    return alphaDepth == 16 ? &Self::template writeMb16s_Eighth<false, std::uint8_t, 16u>
                            : &Self::template writeMb16s_Eighth<false, std::uint8_t, 8u>;
}

template <OptimizationTarget target, class Real>
void Slice4444MacroblockWriter<target, Real>::operator()(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8],
                                                         Real const (*cr)[8][8], std::uint16_t const* alpha) const {
    (this->*m_writeMb)(mb, y, cb, cr, alpha);
}

template <OptimizationTarget target, class Real>
void Slice4444MacroblockWriter<target, Real>::reconstructBlock16s(unsigned int mb, std::int16_t const (*y)[8][8],
                                                                  std::int16_t const (*cb)[8][8],
                                                                  std::int16_t const (*cr)[8][8],
                                                                  std::uint16_t const* alpha) const {
    (this->*m_writeMb16s)(mb, y, cb, cr, alpha);
}

template <OptimizationTarget target, class Real>
void Slice4444MacroblockWriter<target, Real>::reconstructBlock16s_Half(unsigned int mb, std::int16_t const (*y)[4][4],
                                                                       std::int16_t const (*cb)[4][4],
                                                                       std::int16_t const (*cr)[4][4],
                                                                       std::uint16_t const* alpha) const {
    (this->*m_writeMb16sHalf)(mb, y, cb, cr, alpha);
}

template <OptimizationTarget target, class Real>
void Slice4444MacroblockWriter<target, Real>::reconstructBlock16s_Quarter(unsigned int mb,
                                                                          std::int16_t const (*y)[2][2],
                                                                          std::int16_t const (*cb)[2][2],
                                                                          std::int16_t const (*cr)[2][2],
                                                                          std::uint16_t const* alpha) const {
    (this->*m_writeMb16sQuarter)(mb, y, cb, cr, alpha);
}

template <OptimizationTarget target, class Real>
void Slice4444MacroblockWriter<target, Real>::reconstructBlock16s_Eighth(unsigned int mb, std::int16_t const* y,
                                                                         std::int16_t const* cb, std::int16_t const* cr,
                                                                         std::uint16_t const* alpha) const {
    (this->*m_writeMb16sEighth)(mb, y, cb, cr, alpha);
}

template <OptimizationTarget target, class Real>
bool Slice4444MacroblockWriter<target, Real>::readsAlpha() const {
    return this->m_pixelBuffer.downSampleFactor == 0 || this->m_pixelBuffer.bitDepth > 8;
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample, unsigned int alphaDepth>
void Slice4444MacroblockWriter<target, Real>::writeMb(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8],
                                                      Real const (*cr)[8][8], std::uint16_t const* alpha) const {
    constexpr FormOf form = FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 64, y, cb, cr,
                                      PlaneAlpha<target, alphaDepth>{alpha + mb * 16, m_alphaPitch});
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample, unsigned int alphaDepth>
void Slice4444MacroblockWriter<target, Real>::writeMb16s(unsigned int mb, std::int16_t const (*y)[8][8],
                                                         std::int16_t const (*cb)[8][8], std::int16_t const (*cr)[8][8],
                                                         std::uint16_t const* alpha) const {
    constexpr FormOf form = FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 64, y, cb, cr,
                                      PlaneAlpha<target, alphaDepth>{alpha + mb * 16, m_alphaPitch});
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample, unsigned int alphaDepth>
void Slice4444MacroblockWriter<target, Real>::writeMb16s_Half(unsigned int mb, std::int16_t const (*y)[4][4],
                                                              std::int16_t const (*cb)[4][4],
                                                              std::int16_t const (*cr)[4][4],
                                                              std::uint16_t const*) const {
    constexpr FormOf form = FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 32, y, cb, cr,
                                      ReducedAlpha<target, alphaDepth>{});
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample, unsigned int alphaDepth>
void Slice4444MacroblockWriter<target, Real>::writeMb16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2],
                                                                 std::int16_t const (*cb)[2][2],
                                                                 std::int16_t const (*cr)[2][2],
                                                                 std::uint16_t const*) const {
    constexpr FormOf form = FormOf::allByDivision;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 16, y, cb, cr,
                                      ReducedAlpha<target, alphaDepth>{});
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample, unsigned int alphaDepth>
void Slice4444MacroblockWriter<target, Real>::writeMb16s_Eighth(unsigned int mb, std::int16_t const* y,
                                                                std::int16_t const* cb, std::int16_t const* cr,
                                                                std::uint16_t const*) const {
    constexpr FormOf form = FormOf::allByDivision;
    writeBlocks444<rgb, Sample, form>(*this, this->m_pixelBuffer, mb, 8, blocksOfOne(y), blocksOfOne(cb),
                                      blocksOfOne(cr), ReducedAlpha<target, alphaDepth>{});
}
