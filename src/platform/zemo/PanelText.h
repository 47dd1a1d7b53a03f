#pragma once

#include <QString>

namespace zemo::localization
{

/// A localised text, written for a narrow panel: it can hold soft hyphens (U+00AD).
class PanelText
{
public:
    PanelText();
    PanelText(const QString& text); // NOLINT(google-explicit-constructor): texts convert freely
    PanelText(const QString& text, int panelNbr);
    PanelText(const PanelText& other);
    PanelText& operator=(const PanelText& other);
    virtual ~PanelText();

    const QString& text() const;

    /// 0 means that the text has no name that may be shown.
    int panelNbr() const;

private:
    QString m_text;
    int m_panelNbr = 0;
};

} // namespace zemo::localization
