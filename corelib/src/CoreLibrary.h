// Umbrella header: includes every public header of the library.
#ifndef CORELIB_CORELIBRARY_H
#define CORELIB_CORELIBRARY_H

#include "IO/Tokeniser.h"
#include "Utilities/Assert.h"

#endif
