#pragma once

#include "PrivateBus.h"
#include "ServiceDouble.h"

/// What stands behind the clients: services on a bus.
using PlatformUnderTest = ServiceDouble;

/// What must be there before the application object.
using Surroundings = PrivateBus;
