// Umbrella header: includes every public header of the library.
#ifndef CORELIB_CORELIBRARY_H
#define CORELIB_CORELIBRARY_H

#include "Utilities/Assert.h"
#include "Threading/Functor.h"

#endif
