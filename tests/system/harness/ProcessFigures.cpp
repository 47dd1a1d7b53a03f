#include "ProcessFigures.h"

#include <QDir>
#include <QFile>

namespace
{

double numberBehind(const QByteArray& status, const QByteArray& name)
{
    const qsizetype begin = status.indexOf('\n' + name + ':');
    if (begin < 0)
        return 0;
    const QByteArray line = status.mid(begin + name.size() + 2, 40);
    return line.left(line.indexOf('\n')).simplified().split(' ').value(0).toDouble();
}

} // namespace

ProcessFigures ProcessFigures::of(qint64 process)
{
    const QString folder = QStringLiteral("/proc/%1/").arg(process);
    QFile file(folder + QLatin1String("status"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray status = file.readAll();
    ProcessFigures figures;
    figures.residentMebibytes = numberBehind(status, "VmRSS") / 1024;
    figures.peakResidentMebibytes = numberBehind(status, "VmHWM") / 1024;
    figures.threads = static_cast<int>(numberBehind(status, "Threads"));
    figures.descriptors = static_cast<int>(
        QDir(folder + QLatin1String("fd")).entryList(QDir::System | QDir::AllEntries | QDir::NoDotAndDotDot).size());
    return figures;
}
