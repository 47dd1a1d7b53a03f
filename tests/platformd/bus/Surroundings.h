#pragma once

#include "Platform.h"
#include "PrivateBus.h"

#include <QString>
#include <QTemporaryDir>

/// The bus of this test program. It is the system bus of the whole process, which connects to one only once.
PrivateBus& theBus();

/// A folder that goes with the process.
QString scratchFolder();

/// Writes a file into that folder and answers its path.
QString writeScenario(const QByteArray& json);
