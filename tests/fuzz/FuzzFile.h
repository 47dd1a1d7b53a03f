#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>

/// A folder of this process that holds one file with the bytes of the moment; gone at the end.
class FuzzFile
{
public:
    explicit FuzzFile(const QString& name);

    /// Replaces the content.
    void write(const uint8_t* data, size_t size) const;
    QString folder() const;
    QString path() const;

private:
    QString m_path;
};

/// The application object that Qt wants, and quiet messages; safe to call each time.
void prepareProcess();
