#include "LocalText.h"

#include <QRegularExpression>

namespace platformd
{

namespace
{
const QString fallbackLocale = QStringLiteral("en_GB");
}

LocalText::LocalText(const QString& text)
{
    insert(fallbackLocale, text);
}

void LocalText::insert(const QString& locale, const QString& text)
{
    m_texts.insert(locale, text);
}

QString LocalText::in(const QString& locale) const
{
    for (const QString& wanted : {locale, fallbackLocale})
    {
        const auto found = m_texts.constFind(wanted);
        if (found != m_texts.constEnd())
        {
            return *found;
        }
    }
    return m_texts.isEmpty() ? QString() : m_texts.first();
}

bool isLocaleName(const QString& name)
{
    static const QRegularExpression form(QStringLiteral("\\A[a-z]{2,3}(_[A-Z]{2})?\\z"));
    return form.match(name).hasMatch();
}

} // namespace platformd
