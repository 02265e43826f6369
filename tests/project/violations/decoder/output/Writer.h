#pragma once

#include "OutputLevels.h"
#include "Slice.h"
