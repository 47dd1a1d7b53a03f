// Every method of the interface with arguments that nobody would send. What is called comes from the interface's
// description, so a new method is tried without a change here. BusFuzzTest --calls=20000 makes so many calls a method
// in place of the usual ones, --seed=N other ones, --methods=REGEX those of some methods only.
#include "ProcessFigures.h"
#include "SystemTest.h"

#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDirIterator>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <deque>
#include <limits>
#include <memory>

namespace
{

// What the daemon may take at the end beyond what it took in the middle: the allocator, and Qt, which loses what a call
// held when a database error passes through it.
#ifdef __SANITIZE_ADDRESS__
// The sanitizer keeps half a KiB and more of each thread there ever was, and each export has one.
constexpr double mayGrowMebibytes(int calls)
{
    return 16 + calls / 400.;
}
#else
constexpr double mayGrowMebibytes(int /*calls*/)
{
    return 8;
}
#endif
constexpr int mayGrowDescriptors = 4;

struct Method
{
    QString name;
    QStringList types; ///< of its arguments, as they are on the wire
};

QString option(const QString& name, const QString& usual)
{
    const QString prefix = "--" + name + '=';
    const QStringList given = QCoreApplication::arguments().filter(prefix);
    return given.isEmpty() ? usual : given.first().mid(prefix.size());
}

// A list of entries is published as a list of numbers, and is a list of lists.
QString typeOf(const QString& published, const QString& annotated)
{
    return annotated == QLatin1String("QListEnergyLogEntry") ? QStringLiteral("aai") : published;
}

QList<Method> methods()
{
    QFile file(QStringLiteral(ZEMO_INTERFACE));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QList<Method> result;
    QMap<QString, QString> annotations;
    while (!xml.atEnd())
    {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QXmlStreamAttributes attributes = xml.attributes();
        if (xml.name() == QLatin1String("method"))
        {
            result.append({attributes.value("name").toString(), {}});
            annotations.clear();
        }
        if (xml.name() == QLatin1String("annotation"))
            annotations[attributes.value("name").toString().section('.', -1)] = attributes.value("value").toString();
        if (xml.name() == QLatin1String("arg") && attributes.value("direction") == QLatin1String("in"))
        {
            QStringList& types = result.last().types;
            types.append(typeOf(attributes.value("type").toString(), annotations[QString("In%1").arg(types.size())]));
        }
    }
    EXPECT_FALSE(xml.hasError());
    return result;
}

/// Draws arguments. The same seed draws the same ones.
class Dice
{
public:
    explicit Dice(quint32 seed)
        : random(seed)
    {
    }

    bool oneIn(int count)
    {
        return random.bounded(count) == 0;
    }

    qsizetype below(qsizetype count)
    {
        return static_cast<qsizetype>(random.bounded(static_cast<quint32>(count)));
    }

    template <class Value> Value pick(std::initializer_list<Value> values)
    {
        return *(values.begin() + below(static_cast<qsizetype>(values.size())));
    }

    int number()
    {
        return pick({std::numeric_limits<int>::min(), std::numeric_limits<int>::min() + 1, -1000, -1, 0, 1, 2, 3, 100,
                     std::numeric_limits<int>::max() - 1, std::numeric_limits<int>::max()});
    }

    QString text()
    {
        if (huge)
            return QString(1024 * 1024, QLatin1Char('x'));
        return pick<QString>({"",
                              "a",
                              "sub",
                              "/",
                              ".",
                              "..",
                              "../",
                              "../other",
                              "../../../../etc",
                              "/etc/passwd",
                              "sub/../../other",
                              "a/../..",
                              "..\\other",
                              "%s%n%1$n%99999d",
                              "\n\t\r",
                              "\"; touch /var/zemo/shell; '`$(touch /var/zemo/shell)`",
                              "-rf *",
                              QString(255, 'n'),
                              QString(5000, '/'),
                              QString(5000, 'y'),
                              QString(300, 'd') + '/',
                              QString::fromUcs4(U"\u2603\U0001F600\u202e\ufeff"),
                              "en_GB",
                              "default",
                              "C"});
    }

    qsizetype length()
    {
        return huge ? 100000 : pick<qsizetype>({0, 0, 1, 2, 3, 4, 5, 8, 12, 100, 300});
    }

    template <class Value> QList<Value> list(const std::function<Value()>& one)
    {
        QList<Value> values(length());
        std::generate(values.begin(), values.end(), one);
        return values;
    }

    // An entry is year, month, day, hour and values.
    QList<int> entry()
    {
        QList<int> result = {pick({-1, 0, 1969, 1970, 2024, 2026, 2100, 65535, 65536}),
                             pick({-1, 0, 1, 2, 12, 13, 255}), pick({0, 1, 28, 29, 30, 31, 32, 255}),
                             pick({0, 12, 23, 24, 255})};
        // A message of all lists has an end.
        const qsizetype values = huge ? 8 : pick<qsizetype>({0, 1, 2, 3, 8, 255, 256});
        for (qsizetype i = 0; i < values; ++i)
            result.append(number());
        return oneIn(10) ? result.mid(0, below(5)) : result;
    }

    QVariant value(const QString& type)
    {
        if (type == "b")
            return oneIn(2);
        if (type == "y")
            return QVariant::fromValue(pick<uchar>({0, 1, 2, 8, 12, 13, 28, 31, 32, 127, 128, 255}));
        if (type == "q")
            return QVariant::fromValue(pick<ushort>({0, 1, 1969, 1970, 2024, 2026, 2100, 9999, 32767, 32768, 65535}));
        if (type == "i")
            return number();
        if (type == "u")
            return pick<uint>({0, 1, 2, 1000, 0x7fffffff, 0x80000000, 0xfffffffe, 0xffffffff});
        if (type == "x")
            return pick<qlonglong>({std::numeric_limits<qlonglong>::min(), -1, 0, 1, 1700000000, 4294967296,
                                    std::numeric_limits<qlonglong>::max()});
        if (type == "s")
            return text();
        return array(type);
    }

    QVariant array(const QString& type)
    {
        if (type == "as")
            return QVariant::fromValue<QStringList>(
                list<QString>([this] { return huge || !oneIn(50) ? "title" : text(); }));
        if (type == "ay")
            return QByteArray(length(), pick({'\0', '\1', '\11', '\12', '\377'}));
        if (type == "ai")
            return QVariant::fromValue(oneIn(2) ? entry() : list<int>([this] { return number(); }));
        if (type == "ab")
            return QVariant::fromValue(list<bool>([this] { return oneIn(2); }));
        if (type == "aai")
            return QVariant::fromValue(list<QList<int>>([this] { return entry(); }));
        ADD_FAILURE() << "no values for the type " << qUtf8Printable(type);
        return {};
    }

    /// How many kinds of oddities there are.
    static qsizetype oddities()
    {
        return usualTypes().size() + strangers().size();
    }

    /// Something that no method takes, or that this one doesn't take here.
    QVariant oddity(qsizetype kind)
    {
        const qsizetype usual = usualTypes().size();
        return kind < usual ? value(usualTypes()[kind]) : strangers()[kind - usual];
    }

    QVariantList arguments(const QStringList& types)
    {
        QVariantList result = fitting(types);
        if (!huge && oneIn(4))
            spoil(result);
        return result;
    }

    /// Arguments spoilt in each of the ways there are: an oddity too much, one in place of an argument, one too few.
    QList<QVariantList> eachSpoilt(const QStringList& types)
    {
        QList<QVariantList> result;
        for (qsizetype place = 0; place <= types.size(); ++place)
            for (qsizetype kind = 0; kind < oddities(); ++kind)
            {
                result.append(fitting(types));
                result.last().insert(place, oddity(kind));
                if (place < types.size())
                {
                    result.append(fitting(types));
                    result.last()[place] = oddity(kind);
                }
            }
        for (qsizetype place = 0; place < types.size(); ++place)
        {
            result.append(fitting(types));
            result.last().removeAt(place);
        }
        return result;
    }

    /// Whether texts and lists are as long as they come, in place of all lengths but that.
    bool huge = false;

private:
    static QStringList usualTypes()
    {
        return {"b", "y", "q", "i", "u", "x", "s", "as", "ay", "ai", "ab", "aai"};
    }

    static QVariantList strangers()
    {
        QVariant nested = 1;
        for (int depth = 0; depth < 20; ++depth)
            nested = QVariant::fromValue(QDBusVariant(nested));
        return {std::numeric_limits<double>::quiet_NaN(),
                QVariant::fromValue<short>(-32768),
                QVariant::fromValue<qulonglong>(-1),
                QVariant::fromValue(QDBusObjectPath("/Logging")),
                QVariant::fromValue(QDBusSignature("a{sv}")),
                QVariantMap{{"key", nested}},
                nested};
    }

    QVariantList fitting(const QStringList& types)
    {
        QVariantList result;
        for (const QString& type : types)
            result.append(value(type));
        return result;
    }

    void spoil(QVariantList& arguments)
    {
        const qsizetype place = below(arguments.size() + 1);
        if (place == arguments.size() || oneIn(3))
            arguments.insert(place, oddity(below(oddities())));
        else if (oneIn(2))
            arguments.removeAt(place);
        else
            arguments[place] = oddity(below(oddities()));
    }

    QRandomGenerator random;
};

/// Paths, sizes and times of all files under some folders.
QStringList inventory(const QStringList& folders)
{
    QStringList result;
    for (const QString& folder : folders)
    {
        QDirIterator files(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                           QDirIterator::Subdirectories);
        while (files.hasNext())
        {
            const QFileInfo file = files.nextFileInfo();
            result.append(
                QString("%1 %2 %3").arg(file.filePath()).arg(file.size()).arg(file.lastModified().toMSecsSinceEpoch()));
        }
    }
    result.sort();
    return result;
}

using Pending = std::deque<std::unique_ptr<QDBusPendingCallWatcher>>;

class BusFuzz : public SystemTest
{
protected:
    BusFuzz()
        : dice(option("seed", "1").toUInt())
    {
        qDBusRegisterMetaType<QList<QList<int>>>();
        qDBusRegisterMetaType<QList<bool>>();
        rig.setScenario(R"({"serial": "123456", "settings": "c2V0dGluZ3M=", "texts": {"59023": "Date"},
                            "alarms": [{"number": 1, "name": "Blocked", "source": "Pump"}],
                            "parameters": [{"id": 1, "name": "Pump", "default": true, "register": 1},
                                           {"id": 2, "name": "Valve", "type": 1, "default": true}]})");
        // A snapshot that goes on recording keeps its file open, and there would be thousands.
        rig.setConfiguration("[internal]\nfuture=0\n");
        // A database error passes through Qt's bus layer, which is built without exceptions: what it held is lost. And
        // what is kept of freed memory, here and by the C library, would hide what the daemon itself holds. The
        // sanitizer also keeps every stack that it has seen, and behind two frames those from Qt are mere chance.
        rig.daemon.setEnvironment("ASAN_OPTIONS", "detect_leaks=0:quarantine_size_mb=16:malloc_context_size=2");
        rig.daemon.setEnvironment("MALLOC_ARENA_MAX", "1");
        rig.daemon.setEnvironment("MALLOC_MMAP_THRESHOLD_", "65536");
        rig.daemon.setEnvironment("MALLOC_TRIM_THRESHOLD_", "65536");
        rig.scratch.writeFile("/usr/bin/sync", "#!/bin/sh\n");
        rig.scratch.writeFile("/usr/bin/getdebugfile.sh", "#!/bin/sh\n");
    }

    void SetUp() override
    {
        ASSERT_TRUE(rig.start());
        other = rig.scratch.makeStick("other");
        stick = rig.insertStick();
        QDir(stick).mkdir("sub");
        rig.scratch.writeFile(other + "/precious", "precious");
        ASSERT_TRUE(rig.waitForStick(stick));
        // The database's thread begins with its first piece of work.
        ASSERT_TRUE(rig.logd().initEnergyLog(2, -1).value());
        threadsAtRest = ProcessFigures::of(rig.daemon.processId()).threads;
    }

    QDBusMessage callOf(const Method& method, QVariantList arguments)
    {
        QDBusMessage call =
            QDBusMessage::createMethodCall("com.tarn.zemo.logd", "/Logging", "com.tarn.zemo.logd", method.name);
        // A custom log's prefix goes into the name of its file as it comes, also one that leads off the stick.
        if (method.name == "configureCustomLogUsb")
            for (QVariant& argument : arguments)
                if (argument.typeId() == QMetaType::QString &&
                    (argument.toString().contains("..") || argument.toString().startsWith('/')))
                    argument = "other";
        call.setArguments(arguments);
        return call;
    }

    QDBusMessage draw(const Method& method)
    {
        return callOf(method, dice.arguments(method.types));
    }

    /// Every signature once. Qt remembers each that it has met for as long as it lives, so only behind this its memory
    /// stays the same.
    void callWithEachSignature(const Method& method)
    {
        Pending pending;
        for (const QVariantList& arguments : dice.eachSpoilt(method.types))
        {
            pending.push_back(callAndWatch(callOf(method, arguments)));
            collect(method, pending, atATime(method));
        }
        collect(method, pending, 0);
        clearOutput();
    }

    /// Makes calls that want an answer, some at a time, and checks that each gets one.
    void callAll(const Method& method, int count)
    {
        Pending pending;
        for (int i = 0; i < count; ++i)
        {
            const QDBusMessage call = draw(method);
            if (dice.oneIn(40))
                callAndVanish(call);
            else if (dice.oneIn(40))
                rig.bus.connection().send(call);
            else
                pending.push_back(callAndWatch(call));
            collect(method, pending, atATime(method));
        }
        collect(method, pending, 0);
    }

    /// By itself, so that there are never several of them at a time.
    void callHugely(const Method& method)
    {
        dice.huge = true;
        Pending pending;
        pending.push_back(callAndWatch(draw(method)));
        dice.huge = false;
        collect(method, pending, 0);
    }

    // A watcher wakes the event loop when the answer is there; a call by itself would be looked at every now and then.
    std::unique_ptr<QDBusPendingCallWatcher> callAndWatch(const QDBusMessage& call)
    {
        return std::make_unique<QDBusPendingCallWatcher>(rig.bus.connection().asyncCall(call, 120'000));
    }

    /// How many calls may wait for their answers. What waits of one sender may take 1 MiB, and lists of entries come
    /// near to it.
    static size_t atATime(const Method& method)
    {
        return method.types.contains("aai") ? 3 : 30;
    }

    /// Waits for the oldest calls until no more than `left` are without an answer.
    void collect(const Method& method, Pending& pending, size_t left)
    {
        while (pending.size() > left)
        {
            const QDBusPendingCallWatcher& call = *pending.front();
            // With the event loop running, as nobody else reads what the daemon traces.
            EXPECT_TRUE(waitUntil([&] { return call.isFinished(); }, std::chrono::minutes(3)));
            const QDBusError::ErrorType error = call.error().type();
            EXPECT_FALSE(error == QDBusError::NoReply || error == QDBusError::Timeout ||
                         error == QDBusError::TimedOut || error == QDBusError::Disconnected)
                << qUtf8Printable(method.name) << ": " << qUtf8Printable(call.error().message());
            outcomes[call.isError() ? call.error().name() : QStringLiteral("answered")] += 1;
            pending.pop_front();
        }
    }

    void callAndVanish(const QDBusMessage& call)
    {
        const QString name = QStringLiteral("vanishing");
        QDBusConnection::connectToBus(rig.bus.address(), name).asyncCall(call);
        QDBusConnection::disconnectFromBus(name);
        outcomes[QStringLiteral("vanished")] += 1;
    }

    /// Drops what the calls left behind. A number that is free is looked for from 1 on, so thousands of files would
    /// make each next one slow.
    void clearOutput()
    {
        for (const QString& folder : {stick, rig.scratch.outside("/var/zemo/var/log/zemologd")})
            for (const QFileInfo& entry : QDir(folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot))
                if (!entry.isSymLink() && entry.isDir() && entry.fileName() != "sub")
                    QDir(entry.filePath()).removeRecursively();
                else if (entry.isFile() && !entry.isSymLink())
                    QFile::remove(entry.filePath());
        rig.daemon.forgetTrace();
    }

    /// What the daemon takes when all exports have come to their end. One that runs on has files open, and a daemon
    /// that is told to end in the middle of one need not end with 0.
    ProcessFigures figuresAtRest()
    {
        ProcessFigures figures;
        // Some calls wanted no answer, so nobody has waited for them.
        rig.settle();
        EXPECT_TRUE(waitUntil(
            [&]
            {
                figures = ProcessFigures::of(rig.daemon.processId());
                return figures.threads <= threadsAtRest;
            }));
        return figures;
    }

    /// All that the run keeps, but for the stick in use and where the daemon keeps its own files.
    QStringList untouchable() const
    {
        const QString root = rig.scratch.root();
        const QStringList own = {rig.scratch.outside("/var/zemo/var"), stick, root + "/run"};
        QStringList all = inventory({root});
        all.removeIf(
            [&](const QString& file) {
                return std::any_of(own.begin(), own.end(),
                                   [&](const QString& folder) { return file.startsWith(folder); });
            });
        return all;
    }

    Dice dice;
    QString stick;
    QString other;
    int threadsAtRest = 0;
    QMap<QString, int> outcomes;
};

} // namespace

TEST_F(BusFuzz, NoArgumentsBringTheDaemonDownOrLeaveACallerWithoutAnAnswer)
{
    const int calls = option("calls", "200").toInt();
    QList<Method> all = methods();
    ASSERT_EQ(all.size(), 39);
    const QRegularExpression wanted(option("methods", "."));
    all.removeIf([&](const Method& method) { return !wanted.match(method.name).hasMatch(); });
    const QStringList untouched = untouchable();
    constexpr int rounds = 10;
    QList<ProcessFigures> figures;

    for (const Method& method : all)
        callWithEachSignature(method);
    for (int round = 0; round < rounds; ++round)
    {
        for (const Method& method : all)
        {
            // What one of these takes for a moment stays with the allocator as soon as anything lies behind it.
            if (round < rounds / 2)
                callHugely(method);
            for (int made = 0; made < calls / rounds; made += 50)
            {
                callAll(method, std::min(50, calls / rounds - made));
                clearOutput();
            }
            ASSERT_TRUE(rig.daemon.isRunning()) << qUtf8Printable(method.name);
        }
        figures.append(figuresAtRest());
        std::cout << figures.last().residentMebibytes << " MiB, " << figures.last().descriptors << " descriptors, "
                  << figures.last().threads << " threads" << std::endl;
    }

    for (auto outcome = outcomes.begin(); outcome != outcomes.end(); ++outcome)
        std::cout << outcome.value() << " " << qUtf8Printable(outcome.key()) << '\n';
    QDBusPendingReply<bool> last = rig.logd().isUsbLogActive();
    EXPECT_TRUE(waitUntil([&] { return last.isFinished(); }) && last.isValid());
    EXPECT_GT(outcomes["answered"], calls * all.size() / 2);
    EXPECT_EQ(outcomes["org.freedesktop.DBus.Error.LimitsExceeded"], 0);
    EXPECT_EQ(untouchable(), untouched);
    EXPECT_LT(figures.last().residentMebibytes, figures[rounds / 2 - 1].residentMebibytes + mayGrowMebibytes(calls));
    EXPECT_LE(figures.last().descriptors, figures[rounds / 2 - 1].descriptors + mayGrowDescriptors);
    EXPECT_EQ(rig.daemon.stop(), 0);
}
