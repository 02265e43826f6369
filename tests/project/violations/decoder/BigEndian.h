#pragma once

#include "Codes.h"
