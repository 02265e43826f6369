#include "Intrinsics.h"
#include "WideRgb_Impl.h"

// This unit must define nothing that the linker could share with other units.

void writeWideRgb(FormedPicture const& picture, WideRgbPart const& part) {
    if (picture.is444)
        writeInForm<true>(picture, part);
    else
        writeInForm<false>(picture, part);
}
