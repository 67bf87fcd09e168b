#include "services/fileutils.h"
#include "testfiles.h"

#include <QtTest>

namespace {

// Every entry below `root`, hidden ones included, relative and sorted.
QStringList listTree(const QString& root)
{
    QStringList out;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        out.append(QDir(root).relativeFilePath(it.next()));
    }
    out.sort();
    return out;
}

} // namespace

class tst_FileUtils : public QObject
{
    Q_OBJECT

    QScopedPointer<QTemporaryDir> m_dir;
    QString path(const QString& relative) const { return m_dir->filePath(relative); }

private Q_SLOTS:
    void init()
    {
        // Visible: a.txt (3 bytes), sub/b.txt (5), sub/deep/c.txt (7); hidden:
        // .h.txt, sub/.hb.txt and the folder .git.
        m_dir.reset(new QTemporaryDir);
        for (const char* file : {"a.txt:aaa", "sub/b.txt:bbbbb", "sub/deep/c.txt:ccccccc",
                                 ".h.txt:hidden", "sub/.hb.txt:hidden", ".git/d.txt:hidden"}) {
            const QStringList parts = QString(file).split(':');
            QVERIFY(writeFile(path("src/" + parts.at(0)), parts.at(1).toLatin1()));
        }
    }

    void copyTree_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("existing");
        QTest::addColumn<bool>("overwrite");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QByteArray>("b");
        QTest::newRow("new target") << "dst" << false << false << true << QByteArray("bbbbb");
        QTest::newRow("existing kept") << "dst" << true << false << false << QByteArray("old");
        QTest::newRow("existing replaced") << "dst" << true << true << true << QByteArray("bbbbb");
        QTest::newRow("missing parent") << "a/b/c" << false << true << false << QByteArray();
    }

    void copyTree()
    {
        QFETCH(QString, target);
        QFETCH(bool, existing);
        QFETCH(bool, overwrite);
        QFETCH(bool, result);
        QFETCH(QByteArray, b);
        QVERIFY(!existing || writeFile(path(target + "/sub/b.txt"), "old"));
        QCOMPARE(copyDirectoryFiles(path("src"), path(target), overwrite), result);
        QCOMPARE(readFile(path(target + "/sub/b.txt")), b);
        if (result) {
            const QStringList visible{"a.txt", "sub", "sub/b.txt", "sub/deep", "sub/deep/c.txt"};
            QCOMPARE(listTree(path(target)), visible);
        }
        QVERIFY(!QFileInfo::exists(path("a")));
    }

    void rmAllRules()
    {
        // A file takes its whole folder along, but not the one above.
        QVERIFY(QFile::remove(path("src/sub/.hb.txt")));
        QVERIFY(rmAll(path("src/sub/b.txt")));
        QVERIFY(!QFileInfo::exists(path("src/sub")));
        QCOMPARE(readFile(path("src/a.txt")), QByteArray("aaa"));
        // A folder loses its visible content; hidden entries stay, and so does it.
        QVERIFY(!rmAll(path("src")));
        QCOMPARE(listTree(path("src")), (QStringList{".git", ".git/d.txt", ".h.txt"}));
        QVERIFY(rmAll(path("nothing/here")));
        QVERIFY(!rmAll(QString()));
    }

    void rmAllNeverFollowsLinks()
    {
        // A link to a folder elsewhere (a mounted share, the user's data) is
        // removed as a link: what it points to is never emptied.
        QVERIFY(QDir().mkpath(path("work/inside")));
        QVERIFY(QFile::link(path("src"), path("work/link")));
        QVERIFY(QFile::link(path("src"), path("work/inside/link")));
        QVERIFY(rmAll(path("work/inside")));
        QVERIFY(!QFileInfo::exists(path("work/inside")));
        QCOMPARE(listTree(path("src")).size(), 9);
        QVERIFY(rmAll(path("work/link"))); // like a file: its folder goes too
        QVERIFY(!QFileInfo::exists(path("work")));
        QCOMPARE(listTree(path("src")).size(), 9);
        QVERIFY(QDir().mkpath(path("dangling")));
        QVERIFY(QFile::link(path("nowhere"), path("dangling/link")));
        QVERIFY(rmAll(path("dangling/link")));
        QVERIFY(!QFileInfo::exists(path("dangling")));
    }

    void countAndSize_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<int>("count");
        QTest::addColumn<qint64>("size");
        QTest::newRow("tree without hidden entries") << "src" << 3 << qint64(3 + 5 + 7);
        QTest::newRow("sub tree") << "src/sub" << 2 << qint64(5 + 7);
        QTest::newRow("hidden file named directly") << "src/.h.txt" << 1 << qint64(6);
        QTest::newRow("missing") << "missing" << 0 << qint64(0);
    }

    void countAndSize()
    {
        QFETCH(QString, target);
        QFETCH(int, count);
        QFETCH(qint64, size);
        QCOMPARE(pathCount(path(target)), count);
        QCOMPARE(pathSize(path(target)), size);
    }
};

QTEST_GUILESS_MAIN(tst_FileUtils)

#include "tst_fileutils.moc"
