#pragma once

#include <tbb/parallel_for.h>

#include "Codes.h"
#include "CommandLine.h"
#include "Writer.h"
