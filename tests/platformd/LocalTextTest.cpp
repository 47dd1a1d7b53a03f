#include "LocalText.h"
#include "Text.h"

#include <gtest/gtest.h>

using platformd::isLocaleName;
using platformd::LocalText;

TEST(LocalText, ATextComesInTheLocaleAskedFor)
{
    LocalText text;
    text.insert(QStringLiteral("en_GB"), QStringLiteral("pump"));
    text.insert(QStringLiteral("de_DE"), QStringLiteral("Pumpe"));

    EXPECT_EQ(text.in(QStringLiteral("de_DE")), QStringLiteral("Pumpe"));
}

TEST(LocalText, ALocaleThatIsMissingFallsBackToEnglishThoughAnotherComesFirst)
{
    LocalText text;
    text.insert(QStringLiteral("de_DE"), QStringLiteral("Pumpe"));
    text.insert(QStringLiteral("en_GB"), QStringLiteral("pump"));

    EXPECT_EQ(text.in(QStringLiteral("fr_FR")), QStringLiteral("pump"));
}

TEST(LocalText, WithoutEnglishAnyTextWillDo)
{
    LocalText text;
    text.insert(QStringLiteral("de_DE"), QStringLiteral("Pumpe"));

    EXPECT_EQ(text.in(QStringLiteral("fr_FR")), QStringLiteral("Pumpe"));
}

TEST(LocalText, AnEmptyTextIsATextAndDoesNotFallBack)
{
    LocalText text;
    text.insert(QStringLiteral("de_DE"), QString());
    text.insert(QStringLiteral("en_GB"), QStringLiteral("pump"));

    EXPECT_EQ(text.in(QStringLiteral("de_DE")), QString());
}

TEST(LocalText, ATextWithoutAnyLocaleIsEmpty)
{
    EXPECT_EQ(LocalText().in(QStringLiteral("en_GB")), QString());
}

TEST(LocalText, OnePlainTextServesEveryLocale)
{
    EXPECT_EQ(LocalText(QStringLiteral("l/s")).in(QStringLiteral("de_DE")), QStringLiteral("l/s"));
}

TEST(LocalText, LocaleNamesAreALanguageWithOrWithoutACountry)
{
    EXPECT_TRUE(isLocaleName(QStringLiteral("de")));
    EXPECT_TRUE(isLocaleName(QStringLiteral("en_GB")));
    EXPECT_FALSE(isLocaleName(QString()));
    EXPECT_FALSE(isLocaleName(QStringLiteral("default")));
    EXPECT_FALSE(isLocaleName(QStringLiteral("en-GB")));
    EXPECT_FALSE(isLocaleName(QStringLiteral("en_GB\n")));
}
