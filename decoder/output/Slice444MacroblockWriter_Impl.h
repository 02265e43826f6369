#pragma once

#include "PixelRules444.h"
#include "Slice444MacroblockWriter.h"

template <OptimizationTarget target, class Real>
Slice444MacroblockWriter<target, Real>::Slice444MacroblockWriter(PixelBuffer const& pixelBuffer)
    : Slice444MacroblockWriter(OutputForm(pixelBuffer), pixelBuffer) {}

template <OptimizationTarget target, class Real>
Slice444MacroblockWriter<target, Real>::Slice444MacroblockWriter(OutputForm const& form, PixelBuffer const& pixelBuffer)
    : Base(form, pixelBuffer), m_opaqueAlpha(static_cast<std::uint16_t>(this->levels().maxValue)) {}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample, unsigned int alphaDepth, class Value, unsigned int size>
void Slice444MacroblockWriter<target, Real>::write(unsigned int mb, Blocks<Value, size> y, Blocks<Value, size> cb,
                                                   Blocks<Value, size> cr, std::uint16_t const*) const {
    constexpr FormOf form = sizeof(Sample) == 1 ? FormOf::allByReciprocals : FormOf::groupsByReciprocals;
    writeBlocks444<rgb, Sample, form>(*this, mb, y, cb, cr, OpaqueAlpha<target>{m_opaqueAlpha});
}
