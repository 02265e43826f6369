#include "AlphaLaneReaders.h"

#include "EmulatedLaneScan.h"
#include "LaneSupport.h"

std::vector<AlphaLaneFunction*> alphaLaneReaders() {
    std::vector<AlphaLaneFunction*> readers = {emulatedScanAlphaInLanesScattering,
                                               emulatedScanAlphaInLanesStoringSingly};
    if (canRunLanes(cpuidSnapshot()))
        readers.insert(readers.end(), {scanAlphaInLanesScattering, scanAlphaInLanesStoringSingly});
    return readers;
}
