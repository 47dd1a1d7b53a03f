#pragma once

#include <QtGlobal>

namespace zemo::shell
{

/// Sends Qt's own messages to the trace, module "Qt", as long as it lives: debug and information at level 1, warnings
/// 3, critical ones 4, fatal ones 5. One at a time.
class QtMessages
{
public:
    QtMessages();
    ~QtMessages();
    QtMessages(const QtMessages&) = delete;
    QtMessages& operator=(const QtMessages&) = delete;

private:
    QtMessageHandler m_previous;
};

} // namespace zemo::shell
