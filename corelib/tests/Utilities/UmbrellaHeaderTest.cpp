// The umbrella header must compile on its own, first in its translation unit.
#include "CoreLibrary.h"

#include <gtest/gtest.h>

TEST(UmbrellaHeader, CompilesAlone)
{
    EXPECT_FALSE(Core::ReleaseAssertHandler::m_alwaysAbort);
}
