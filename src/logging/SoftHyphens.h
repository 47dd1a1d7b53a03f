#pragma once

#include <QString>

/// Soft hyphens tell a narrow panel where it may break a line; a table has no use for them.
inline QString withoutSoftHyphens(QString objL_text)
{
    return objL_text.remove(QChar(QChar::SoftHyphen));
}
