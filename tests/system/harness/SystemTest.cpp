#include "SystemTest.h"

#include <ostream>

void PrintTo(const QString& text, std::ostream* stream)
{
    *stream << '"' << qUtf8Printable(text) << '"';
}

void PrintTo(const QStringList& texts, std::ostream* stream)
{
    for (const QString& text : texts)
        *stream << "\n    \"" << qUtf8Printable(text) << '"';
}

void SystemTest::TearDown()
{
    if (!HasFailure())
        return;
    std::cout << "The daemon wrote:" << testing::PrintToString(rig.daemon.errorLines()) << '\n'
              << "The platform wrote:" << testing::PrintToString(rig.platform.errorLines()) << '\n';
}
