#pragma once

/// \file
/// Everything that zeb offers; each family has a header of its own.

/// \namespace zeb
/// The types, the typed functions of all families, and the raw ones of filters, transforms and most of fitting.
/// \namespace zeb::fft
/// What goes with the Fourier transforms.
/// \namespace zeb::test
/// Synthetic images, and reference forms to compare with.

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
