#include "QtMessages.h"

#include <p7zemo.h>

#include <QString>

namespace zemo::shell
{

namespace
{

uint32_t levelOf(QtMsgType type)
{
    switch (type)
    {
    case QtWarningMsg:
        return 3;
    case QtCriticalMsg:
        return 4;
    case QtFatalMsg:
        return 5;
    default:
        return 1;
    }
}

void trace(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    static p7zemo_module_t module = p7zemo_traceRegisterModule(nullptr, "Qt");
    p7zemo_traceAdd(module, levelOf(type), static_cast<uint32_t>(context.line), context.file, context.function, "%s",
                    text.toUtf8().constData());
}

} // namespace

QtMessages::QtMessages()
    : m_previous(qInstallMessageHandler(trace))
{
}

QtMessages::~QtMessages()
{
    qInstallMessageHandler(m_previous);
}

} // namespace zemo::shell
