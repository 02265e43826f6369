#pragma once

#include "Picture.h"
