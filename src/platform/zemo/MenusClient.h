#pragma once

#include <zemo/PanelText.h>

#include <QList>
#include <QMap>
#include <QString>

namespace zemo::menus
{

/// The platform's texts. Blocking, from any thread; empty when the answer cannot be had.
class MenusClient
{
public:
    /// Set up by ZemoApplication::startFunctionality; good until the process ends.
    static MenusClient* instance;

    /// Texts by id in the named locale; an id without a text is missing.
    QMap<unsigned int, localization::PanelText> getTexts(const QList<unsigned int>& ids, const QString& locale);
};

} // namespace zemo::menus
