#pragma once

/// \file
/// Everything that zeb offers; each family has a header of its own.

#include "zeb/drawing.h"
#include "zeb/image.h"
#include "zeb/point_ops.h"
#include "zeb/synthetic.h"
