#pragma once

#include <FakePlatform.h>

/// What stands behind the clients: here nothing but memory.
using PlatformUnderTest = FakePlatform;

/// What must be there before the application object.
struct Surroundings
{
};
