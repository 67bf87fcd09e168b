// Every English text of the plug-in that passes through translation must have
// a finished Chinese translation in the committed .ts file (the .qm is built
// from it). lupdate, run over a copy as a translator would, marks what is missing.

#include "testfiles.h"

#include <QtTest>

namespace {

const QString kCommitted = QStringLiteral("resources/zarvo/language/zarvo_cn.ts");

struct Message
{
    QString source, translation;
    bool finished;
};

QList<Message> messages(const QString& tsFile)
{
    QList<Message> out;
    auto it = QRegularExpression(R"(<source>(.*?)</source>.*?<translation( type="\w+")?>(.*?)<)",
                                 QRegularExpression::DotMatchesEverythingOption)
                  .globalMatch(QString::fromUtf8(readFile(tsFile)));
    while (it.hasNext()) {
        const auto m = it.next();
        out.append({m.captured(1), m.captured(3),
                    m.captured(2).isEmpty() && !m.captured(3).trimmed().isEmpty()});
    }
    return out;
}

QSet<QString> placeholders(const QString& text)
{
    QSet<QString> out;
    auto it = QRegularExpression("%\\d+").globalMatch(text);
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
    void everySourceTextTranslated()
    {
        QString lupdate = QLibraryInfo::location(QLibraryInfo::BinariesPath) + "/lupdate";
        if (!QFileInfo(lupdate).isExecutable()) {
            lupdate = QStandardPaths::findExecutable("lupdate");
        }
        if (lupdate.isEmpty()) {
            QSKIP("lupdate is not installed");
        }
        QTemporaryDir out;
        const QDir sources(ZARVO_SOURCE_DIR);
        QVERIFY(QFile::copy(sources.filePath(kCommitted), out.filePath("copy.ts")));
        QStringList args{"-locations", "none", "-no-obsolete"};
        // Every folder of the plug-in's code; those not (yet) present are skipped.
        for (const char* folder :
             {"module", "controller", "services", "settings", "runtime", "theme", "widgets"}) {
            if (sources.exists(folder)) {
                args.append(folder);
            }
        }
        QProcess process;
        process.setWorkingDirectory(sources.path());
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(lupdate, args + QStringList{"-ts", out.filePath("copy.ts")});
        QVERIFY2(process.waitForFinished(120000), qPrintable(process.errorString()));
        const QString output = QString::fromLocal8Bit(process.readAll());
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
                 qPrintable(output));

        QStringList missing;
        for (const Message& m : messages(out.filePath("copy.ts"))) {
            if (!m.finished) {
                missing.append('"' + m.source + '"');
            }
        }
        QVERIFY2(missing.isEmpty(),
                 qPrintable(QString("%1 text(s) without a finished translation; "
                                    "in the source folder run\n  lupdate %2 "
                                    "-ts %3\nand translate:\n%4")
                                .arg(missing.size())
                                .arg(args.join(' '), kCommitted, missing.join('\n'))));
    }

    void placeholdersKept()
    {
        const QList<Message> committed = messages(QDir(ZARVO_SOURCE_DIR).filePath(kCommitted));
        QVERIFY(committed.size() > 10);
        QStringList wrong;
        for (const Message& m : committed) {
            if (m.finished && placeholders(m.source) != placeholders(m.translation)) {
                wrong.append(m.source + " -> " + m.translation);
            }
        }
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join('\n')));
    }
};

QTEST_GUILESS_MAIN(tst_Translation)

#include "tst_translation.moc"
