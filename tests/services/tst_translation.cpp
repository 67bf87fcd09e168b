// The committed Chinese translation must cover every English text of the
// plug-in that passes through translation, and the compiled-in .qm must be
// built from it. New texts are found the way a translator finds them: by
// running lupdate over the sources.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

namespace {

const QString kCommitted = QStringLiteral("/resources/zarvo/language/zarvo_cn.ts");
const QString kCompiled = QStringLiteral(":/zarvo/language/zarvo_cn.qm");
// Every folder of the plug-in's code; those not (yet) present are skipped.
const QStringList kSourceFolders{"module",  "controller", "services", "settings",
                                 "runtime", "theme",      "widgets"};

struct Message
{
    QString context;
    QString source;
    QString comment;
    QString translation;
    QString type; // "", "unfinished", "obsolete", "vanished"
    bool finished() const { return type.isEmpty() && !translation.trimmed().isEmpty(); }
    QString key() const { return context + QLatin1Char('\x1f') + source + comment; }
    QString label() const { return QStringLiteral("[%1] \"%2\"").arg(context, source); }
};

bool readTs(const QString& path, QList<Message>* out, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return false;
    }
    QXmlStreamReader xml(&file);
    QString context;
    Message message;
    bool inMessage = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            const QStringRef name = xml.name();
            if (name == QLatin1String("name") && !inMessage) {
                context = xml.readElementText();
            } else if (name == QLatin1String("message")) {
                message = Message();
                message.context = context;
                inMessage = true;
            } else if (inMessage && name == QLatin1String("source")) {
                message.source = xml.readElementText();
            } else if (inMessage && name == QLatin1String("comment")) {
                message.comment = xml.readElementText();
            } else if (inMessage && name == QLatin1String("translation")) {
                message.type = xml.attributes().value(QLatin1String("type")).toString();
                message.translation = xml.readElementText(QXmlStreamReader::IncludeChildElements);
            }
        } else if (xml.isEndElement() && xml.name() == QLatin1String("message")) {
            out->append(message);
            inMessage = false;
        }
    }
    if (xml.hasError()) {
        *error = xml.errorString();
        return false;
    }
    return true;
}

QString findLupdate()
{
    const QString besideQt =
        QLibraryInfo::location(QLibraryInfo::BinariesPath) + QStringLiteral("/lupdate");
    if (QFileInfo(besideQt).isExecutable()) {
        return besideQt;
    }
    return QStandardPaths::findExecutable(QStringLiteral("lupdate"));
}

QSet<QString> placeholders(const QString& text)
{
    QSet<QString> out;
    QRegularExpressionMatchIterator it =
        QRegularExpression(QStringLiteral("%\\d+")).globalMatch(text);
    while (it.hasNext()) {
        out.insert(it.next().captured());
    }
    return out;
}

} // namespace

class tst_Translation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everySourceTextTranslated();
    void placeholdersKept();
    void compiledTranslationMatchesCommitted();
    void knownTexts_data();
    void knownTexts();

private:
    QList<Message> m_committed;
};

void tst_Translation::initTestCase()
{
    QString error;
    QVERIFY2(readTs(QStringLiteral(ZARVO_SOURCE_DIR) + kCommitted, &m_committed, &error),
             qPrintable(error));
    QVERIFY(!m_committed.isEmpty());
}

void tst_Translation::everySourceTextTranslated()
{
    const QString lupdate = findLupdate();
    if (lupdate.isEmpty()) {
        QSKIP("lupdate is not installed");
    }
    QTemporaryDir out;
    QVERIFY(out.isValid());
    const QString fresh = out.filePath(QStringLiteral("fresh.ts"));

    QStringList args{QStringLiteral("-locations"), QStringLiteral("none"),
                     QStringLiteral("-no-obsolete")};
    const QDir sources(QStringLiteral(ZARVO_SOURCE_DIR));
    for (const QString& folder : kSourceFolders) {
        if (sources.exists(folder)) {
            args.append(folder);
        }
    }
    args << QStringLiteral("-ts") << fresh;

    QProcess process;
    process.setWorkingDirectory(sources.path());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(lupdate, args);
    QVERIFY2(process.waitForFinished(120000), qPrintable(process.errorString()));
    const QString output = QString::fromLocal8Bit(process.readAll());
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
             qPrintable(output));

    QList<Message> found;
    QString error;
    QVERIFY2(readTs(fresh, &found, &error), qPrintable(error));
    QVERIFY2(!found.isEmpty(), qPrintable(output));

    QHash<QString, Message> committed;
    for (const Message& m : qAsConst(m_committed)) {
        committed.insert(m.key(), m);
    }
    QStringList missing;
    for (const Message& m : qAsConst(found)) {
        const auto it = committed.constFind(m.key());
        if (it == committed.constEnd() || !it->finished()) {
            missing.append(m.label());
        }
    }
    // The command that brings the committed file up to date, run in the source folder.
    QStringList update = args;
    update.last() = kCommitted.mid(1);
    QVERIFY2(missing.isEmpty(),
             qPrintable(QStringLiteral("%1 text(s) without a finished translation; run\n  lupdate "
                                       "%2\nin the source folder and translate them:\n%3")
                            .arg(missing.size())
                            .arg(update.join(QLatin1Char(' ')), missing.join(QLatin1Char('\n')))));
}

void tst_Translation::placeholdersKept()
{
    QStringList wrong;
    for (const Message& m : qAsConst(m_committed)) {
        if (m.finished() && placeholders(m.source) != placeholders(m.translation)) {
            wrong.append(m.label() + QStringLiteral(" -> \"") + m.translation + QLatin1Char('"'));
        }
    }
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join(QLatin1Char('\n'))));
}

void tst_Translation::compiledTranslationMatchesCommitted()
{
    QTranslator translator;
    QVERIFY(translator.load(kCompiled));
    QStringList stale;
    for (const Message& m : qAsConst(m_committed)) {
        if (!m.finished()) {
            continue;
        }
        const QString compiled =
            translator.translate(m.context.toUtf8().constData(), m.source.toUtf8().constData(),
                                 m.comment.isEmpty() ? nullptr : m.comment.toUtf8().constData());
        if (compiled != m.translation) {
            stale.append(m.label());
        }
    }
    QVERIFY2(stale.isEmpty(), qPrintable(stale.join(QLatin1Char('\n'))));
}

void tst_Translation::knownTexts_data()
{
    QTest::addColumn<QByteArray>("context");
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QString>("expected");
    QTest::newRow("box title") << QByteArray("QObject") << QByteArray("Warning")
                               << QString::fromUtf8("警告");
    QTest::newRow("time-out") << QByteArray("ControllerManager")
                              << QByteArray("Command %1 timeout!")
                              << QString::fromUtf8("命令%1超时！");
    QTest::newRow("button") << QByteArray("QObject") << QByteArray("Auxiliary point")
                            << QString::fromUtf8("辅助点");
    QTest::newRow("console command")
        << QByteArray("velk::BaseCommand") << QByteArray("controller is not connected")
        << QString::fromUtf8("控制器未连接");
}

void tst_Translation::knownTexts()
{
    QFETCH(QByteArray, context);
    QFETCH(QByteArray, source);
    QFETCH(QString, expected);

    auto* translator = new QTranslator(this);
    QVERIFY(translator->load(kCompiled));
    QVERIFY(QCoreApplication::installTranslator(translator));
    const QString translated = QCoreApplication::translate(context.constData(), source.constData());
    QCoreApplication::removeTranslator(translator);
    delete translator;

    QCOMPARE(translated, expected);
}

QTEST_GUILESS_MAIN(tst_Translation)

#include "tst_translation.moc"
