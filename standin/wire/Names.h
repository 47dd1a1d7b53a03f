#pragma once

#include <QString>

/// Where the platform's services are found on the system bus. The methods of the interface are the operations of the
/// clients under their own names; com.tarn.zemo.platform.xml beside this file is their description.
namespace zemo::wire
{

inline const QString serviceName = QStringLiteral("com.tarn.zemo.platform");
inline const QString objectPath = QStringLiteral("/Platform");
inline const QString interfaceName = QStringLiteral("com.tarn.zemo.platform");

/// The object through which tests and people steer the service; no client uses it.
inline const QString controlPath = QStringLiteral("/Control");

} // namespace zemo::wire
