#pragma once

/// \file
/// Everything that zeb offers; each family has a header of its own.

#include "zeb/drawing.h"
#include "zeb/filters.h"
#include "zeb/fitting.h"
#include "zeb/frequency.h"
#include "zeb/image.h"
#include "zeb/morphology.h"
#include "zeb/point_ops.h"
#include "zeb/shapes.h"
#include "zeb/statistics.h"
#include "zeb/synthetic.h"
#include "zeb/transforms.h"
