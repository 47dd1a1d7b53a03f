#pragma once

#include <QMetaMethod>

#include <gtest/gtest.h>

#include <initializer_list>

struct MethodRow
{
    QMetaMethod::MethodType type;
    const char* result;
    const char* signature;
    const char* names;
};

/// Expects these methods of a class's own, in this order.
inline void expectMethods(const QMetaObject& meta, std::initializer_list<MethodRow> rows)
{
    int index = meta.methodOffset();
    ASSERT_EQ(meta.methodCount(), index + static_cast<int>(rows.size()));
    for (const MethodRow& row : rows)
    {
        const QMetaMethod method = meta.method(index++);
        EXPECT_EQ(method.methodType(), row.type) << row.signature;
        EXPECT_STREQ(method.typeName(), row.result) << row.signature;
        EXPECT_EQ(method.methodSignature().toStdString(), row.signature);
        EXPECT_EQ(method.parameterNames().join(' ').toStdString(), row.names);
    }
}
