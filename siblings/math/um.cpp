#include "zeb/um.h"

// Callers store lengths as plain floats and read them back through `value`.
static_assert(sizeof(zeb::um) == sizeof(float));
