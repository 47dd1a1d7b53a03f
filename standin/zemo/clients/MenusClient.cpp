#include <zemo/MenusClient.h>

#include "Call.h"

namespace zemo::menus
{

MenusClient* MenusClient::instance = nullptr;

QMap<unsigned int, localization::PanelText> MenusClient::getTexts(const QList<unsigned int>& ids, const QString& locale)
{
    return clients::askRecords<wire::Texts>(clients::usualPatience, "getTexts", ids, locale);
}

} // namespace zemo::menus
