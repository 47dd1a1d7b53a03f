#pragma once

#include <QFileInfo>
#include <QString>

/// Whether a new file must not be opened under that path. A link without a target counts too: to open it would create
/// its target, wherever that lies.
inline bool isNameInUse(const QString& objL_path)
{
    const QFileInfo objL_info(objL_path);
    return objL_info.exists() || objL_info.isSymLink();
}
