#pragma once

#include <QMap>
#include <QString>

namespace platformd
{

/// A text in one or more locales ("en_GB").
class LocalText
{
public:
    LocalText() = default;
    /// One text for every locale.
    explicit LocalText(const QString& text);

    void insert(const QString& locale, const QString& text);

    /// The text in `locale`; where there is none the one in "en_GB", then any; empty when there are no texts at all.
    QString in(const QString& locale) const;

private:
    QMap<QString, QString> m_texts;
};

/// Whether `name` has the form of a locale name, as in "de" or "de_DE".
bool isLocaleName(const QString& name);

} // namespace platformd
