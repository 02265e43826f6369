#pragma once

#include "PixelRules444.h"
#include "Slice4444MacroblockWriter.h"

template <OptimizationTarget target, class Real>
Slice4444MacroblockWriter<target, Real>::Slice4444MacroblockWriter(PixelBuffer const& pixelBuffer,
                                                                   unsigned int alphaDepth, std::uint64_t alphaPitch)
    : Slice4444MacroblockWriter(OutputForm(pixelBuffer), pixelBuffer, alphaDepth, alphaPitch) {}

template <OptimizationTarget target, class Real>
Slice4444MacroblockWriter<target, Real>::Slice4444MacroblockWriter(OutputForm const& form,
                                                                   PixelBuffer const& pixelBuffer,
                                                                   unsigned int alphaDepth, std::uint64_t alphaPitch)
    : Base(form, pixelBuffer, alphaDepth), m_alphaPitch(alphaPitch) {}

template <OptimizationTarget target, class Real>
bool Slice4444MacroblockWriter<target, Real>::readsAlpha() const {
    return this->form().blockPart == BlockPart::Whole;
}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample, unsigned int alphaDepth, class Value, unsigned int size>
void Slice4444MacroblockWriter<target, Real>::write(unsigned int mb, Blocks<Value, size> y, Blocks<Value, size> cb,
                                                    Blocks<Value, size> cr, std::uint16_t const* alpha) const {
    // Quarter and eighth size have no groups.
    constexpr FormOf form = size >= 4 ? FormOf::groupsByReciprocals : FormOf::allByDivision;
    if constexpr (size == 8)
        writeBlocks444<rgb, Sample, form>(*this, mb, y, cb, cr,
                                          PlaneAlpha<target, alphaDepth>{alpha + mb * 16, m_alphaPitch});
    else
        writeBlocks444<rgb, Sample, form>(*this, mb, y, cb, cr, ReducedAlpha<target, alphaDepth>{});
}
