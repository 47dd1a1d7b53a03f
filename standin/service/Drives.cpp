#include "Drives.h"

#include <QRegularExpression>

namespace platformd
{

bool isDrivePath(const QString& path)
{
    static const QRegularExpression form(QStringLiteral("\\A/[A-Za-z0-9/._-]*[A-Za-z0-9._-]\\z"));
    return form.match(path).hasMatch();
}

QString drivePathRule()
{
    return QStringLiteral(
        "a drive's path must be absolute, without a separator at its end, and made of letters, digits "
        "and / . _ - only");
}

} // namespace platformd
