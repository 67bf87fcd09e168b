// Every English text of the plug-in that passes through translation must have
// a finished Chinese translation in the committed .ts file (the .qm is built
// from it). New texts are found as a translator finds them: with lupdate.

#include <QtTest>

namespace {

const QString kCommitted = QStringLiteral("resources/zarvo/language/zarvo_cn.ts");

struct Message
{
    QString context, source, comment, translation, type;
    bool finished() const { return type.isEmpty() && !translation.trimmed().isEmpty(); }
    QString key() const { return context + '\x1f' + source + comment; }
    QString label() const { return QString("[%1] \"%2\"").arg(context, source); }
};

QList<Message> readTs(const QString& path)
{
    QList<Message> out;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return out;
    }
    QXmlStreamReader xml(&file);
    QString context;
    while (!xml.atEnd()) {
        xml.readNext();
        const QString name = xml.name().toString();
        if (xml.isEndElement() && name == "message") {
            out.last().context = context;
        } else if (!xml.isStartElement()) {
            continue;
        } else if (name == "message") {
            out.append(Message());
        } else if (name == "name") {
            context = xml.readElementText();
        } else if (name == "source") {
            out.last().source = xml.readElementText();
        } else if (name == "comment") {
            out.last().comment = xml.readElementText();
        } else if (name == "translation") {
            out.last().type = xml.attributes().value("type").toString();
            out.last().translation = xml.readElementText(QXmlStreamReader::IncludeChildElements);
        }
    }
    return xml.hasError() ? QList<Message>() : out;
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
        QStringList args{"-locations", "none", "-no-obsolete"};
        // Every folder of the plug-in's code; those not (yet) present are skipped.
        for (const char* folder :
             {"module", "controller", "services", "settings", "runtime", "theme", "widgets"}) {
            if (sources.exists(folder)) {
                args.append(folder);
            }
        }
        args << "-ts" << out.filePath("fresh.ts");
        QProcess process;
        process.setWorkingDirectory(sources.path());
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(lupdate, args);
        QVERIFY2(process.waitForFinished(120000), qPrintable(process.errorString()));
        const QString output = QString::fromLocal8Bit(process.readAll());
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
                 qPrintable(output));
        const QList<Message> found = readTs(args.last());
        QVERIFY2(!found.isEmpty(), qPrintable(output));

        QHash<QString, Message> committed;
        for (const Message& m : readTs(sources.filePath(kCommitted))) {
            committed.insert(m.key(), m);
        }
        QStringList missing;
        for (const Message& m : found) {
            if (!committed.value(m.key()).finished()) {
                missing.append(m.label());
            }
        }
        args.last() = kCommitted;
        QVERIFY2(missing.isEmpty(), qPrintable(QString("%1 text(s) without a finished translation; "
                                                       "run\n  lupdate %2\nin the source folder "
                                                       "and translate them:\n%3")
                                                   .arg(missing.size())
                                                   .arg(args.join(' '), missing.join('\n'))));
    }

    void placeholdersKept()
    {
        const QList<Message> committed = readTs(QDir(ZARVO_SOURCE_DIR).filePath(kCommitted));
        QVERIFY(!committed.isEmpty());
        QStringList wrong;
        for (const Message& m : committed) {
            if (m.finished() && placeholders(m.source) != placeholders(m.translation)) {
                wrong.append(m.label() + " -> \"" + m.translation + '"');
            }
        }
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join('\n')));
    }
};

QTEST_GUILESS_MAIN(tst_Translation)

#include "tst_translation.moc"
