#pragma once

#include <optional>

#include "ReconstructionForm.h"

// Forces a form of the reconstruction for its lifetime.
class ForcedReconstruction {
public:
    explicit ForcedReconstruction(ReconstructionForm form) : m_before(forceReconstruction(form)) {}
    ~ForcedReconstruction() { forceReconstruction(m_before); }
    ForcedReconstruction(ForcedReconstruction const&) = delete;
    ForcedReconstruction& operator=(ForcedReconstruction const&) = delete;

private:
    std::optional<ReconstructionForm> m_before;
};
