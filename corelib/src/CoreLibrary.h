// Umbrella header: includes every public header of the library.
#ifndef CORELIB_CORELIBRARY_H
#define CORELIB_CORELIBRARY_H

#include "Utilities/Assert.h"
#include "Threading/FSM.h"
#include "Threading/Functor.h"
#include "Threading/Mutex.h"
#include "Threading/Thread.h"
#include "Threading/WorkerThread.h"

#endif
