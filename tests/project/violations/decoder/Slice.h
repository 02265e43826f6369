#pragma once

#include <tbb/parallel_for.h>

#include "CommandLine.h"
