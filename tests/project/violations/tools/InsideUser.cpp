#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include "CommandLine.h"
#include "Slice.h"
