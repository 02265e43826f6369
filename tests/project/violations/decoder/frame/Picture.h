#pragma once

#include "Codes.h"
#include "OutputLevels.h"
#include "Slice.h"
#include "Writer.h"
