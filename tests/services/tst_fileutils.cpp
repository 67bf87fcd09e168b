#include "services/fileutils.h"
#include "testfiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Every entry below `root`, hidden ones included, relative and sorted.
QStringList listTree(const QString& root)
{
    QStringList out;
    const QDir base(root);
    const QFileInfoList entries = base.entryInfoList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries) {
        out.append(entry.fileName() + (entry.isDir() ? QStringLiteral("/") : QString()));
        if (entry.isDir()) {
            const QStringList below = listTree(entry.filePath());
            for (const QString& name : below) {
                out.append(entry.fileName() + QLatin1Char('/') + name);
            }
        }
    }
    return out;
}

} // namespace

class tst_FileUtils : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void copyTreeSkipsHiddenEntries();
    void copyTreeOverwrite_data();
    void copyTreeOverwrite();
    void copyTreeNeedsTargetParent();
    void copyFileRules_data();
    void copyFileRules();
    void rmAllOfFileRemovesItsFolder();
    void rmAllOfFolderLeavesHiddenEntries();
    void rmAllNeverFollowsLinks();
    void rmAllEdgePaths_data();
    void rmAllEdgePaths();
    void countAndSize_data();
    void countAndSize();

private:
    QString path(const QString& relative) const { return m_dir->filePath(relative); }
    // a.txt (3 bytes), sub/b.txt (5 bytes), sub/deep/c.txt (7 bytes), plus
    // hidden .h.txt, sub/.hb.txt and the hidden folder .git/d.txt.
    void makeSource(const QString& root);

    QScopedPointer<QTemporaryDir> m_dir;
};

void tst_FileUtils::init()
{
    m_dir.reset(new QTemporaryDir);
    QVERIFY(m_dir->isValid());
}

void tst_FileUtils::cleanup()
{
    m_dir.reset();
}

void tst_FileUtils::makeSource(const QString& root)
{
    QVERIFY(writeFile(root + QStringLiteral("/a.txt"), "aaa"));
    QVERIFY(writeFile(root + QStringLiteral("/sub/b.txt"), "bbbbb"));
    QVERIFY(writeFile(root + QStringLiteral("/sub/deep/c.txt"), "ccccccc"));
    QVERIFY(writeFile(root + QStringLiteral("/.h.txt"), "hidden"));
    QVERIFY(writeFile(root + QStringLiteral("/sub/.hb.txt"), "hidden"));
    QVERIFY(writeFile(root + QStringLiteral("/.git/d.txt"), "hidden"));
}

void tst_FileUtils::copyTreeSkipsHiddenEntries()
{
    makeSource(path("src"));
    QVERIFY(copyDirectoryFiles(path("src"), path("dst"), false));
    const QStringList expected{"a.txt", "sub/", "sub/b.txt", "sub/deep/", "sub/deep/c.txt"};
    QCOMPARE(listTree(path("dst")), expected);
    QCOMPARE(readFile(path("dst/sub/deep/c.txt")), QByteArray("ccccccc"));
    // The source is untouched.
    QCOMPARE(listTree(path("src")).size(), 9);
}

void tst_FileUtils::copyTreeOverwrite_data()
{
    QTest::addColumn<bool>("overwrite");
    QTest::addColumn<bool>("expectedResult");
    QTest::addColumn<QByteArray>("expectedContent");
    QTest::newRow("kept without overwrite") << false << false << QByteArray("old");
    QTest::newRow("replaced with overwrite") << true << true << QByteArray("bbbbb");
}

void tst_FileUtils::copyTreeOverwrite()
{
    QFETCH(bool, overwrite);
    QFETCH(bool, expectedResult);
    QFETCH(QByteArray, expectedContent);

    makeSource(path("src"));
    QVERIFY(writeFile(path("dst/sub/b.txt"), "old"));
    QCOMPARE(copyDirectoryFiles(path("src"), path("dst"), overwrite), expectedResult);
    QCOMPARE(readFile(path("dst/sub/b.txt")), expectedContent);
    if (expectedResult) {
        QCOMPARE(readFile(path("dst/sub/deep/c.txt")), QByteArray("ccccccc"));
        QCOMPARE(readFile(path("dst/a.txt")), QByteArray("aaa"));
    }
}

void tst_FileUtils::copyTreeNeedsTargetParent()
{
    makeSource(path("src"));
    QVERIFY(!copyDirectoryFiles(path("src"), path("a/b/c"), true));
    QVERIFY(!QFileInfo::exists(path("a")));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("src")});
}

void tst_FileUtils::copyFileRules_data()
{
    QTest::addColumn<bool>("sourceExists");
    QTest::addColumn<bool>("targetExists");
    QTest::addColumn<bool>("overwrite");
    QTest::addColumn<bool>("expectedResult");
    QTest::addColumn<QByteArray>("expectedTarget");
    QTest::newRow("new target") << true << false << false << true << QByteArray("new");
    QTest::newRow("existing target kept") << true << true << false << false << QByteArray("old");
    QTest::newRow("existing target replaced") << true << true << true << true << QByteArray("new");
    QTest::newRow("missing source") << false << false << true << false << QByteArray();
    QTest::newRow("missing source keeps target")
        << false << true << true << false << QByteArray("old");
}

void tst_FileUtils::copyFileRules()
{
    QFETCH(bool, sourceExists);
    QFETCH(bool, targetExists);
    QFETCH(bool, overwrite);
    QFETCH(bool, expectedResult);
    QFETCH(QByteArray, expectedTarget);

    if (sourceExists) {
        QVERIFY(writeFile(path("from.txt"), "new"));
    }
    if (targetExists) {
        QVERIFY(writeFile(path("to.txt"), "old"));
    }
    QCOMPARE(copyFile(path("from.txt"), path("to.txt"), overwrite), expectedResult);
    QCOMPARE(readFile(path("to.txt")), expectedTarget);
}

void tst_FileUtils::rmAllOfFileRemovesItsFolder()
{
    makeSource(path("keep/victim"));
    QVERIFY(writeFile(path("keep/sibling.txt"), "stays"));
    // Hidden entries are never listed, so the folder itself cannot go: the
    // source tree without them shows the whole folder removed.
    QVERIFY(QFile::remove(path("keep/victim/.h.txt")));
    QVERIFY(QFile::remove(path("keep/victim/sub/.hb.txt")));
    QVERIFY(QDir(path("keep/victim/.git")).removeRecursively());

    QVERIFY(rmAll(path("keep/victim/sub/b.txt")));
    QVERIFY(!QFileInfo::exists(path("keep/victim/sub")));
    // Only the folder of the file goes, not the one above it.
    QVERIFY(QFileInfo::exists(path("keep/victim/a.txt")));

    QVERIFY(rmAll(path("keep/victim/a.txt")));
    QVERIFY(!QFileInfo::exists(path("keep/victim")));
    QCOMPARE(readFile(path("keep/sibling.txt")), QByteArray("stays"));
}

void tst_FileUtils::rmAllOfFolderLeavesHiddenEntries()
{
    makeSource(path("tree"));
    QVERIFY(!rmAll(path("tree")));
    const QStringList left{".git/", ".git/d.txt", ".h.txt", "sub/", "sub/.hb.txt"};
    QCOMPARE(listTree(path("tree")), left);

    QVERIFY(QFile::remove(path("tree/.h.txt")));
    QVERIFY(QFile::remove(path("tree/sub/.hb.txt")));
    QVERIFY(QDir(path("tree/.git")).removeRecursively());
    QVERIFY(rmAll(path("tree")));
    QVERIFY(!QFileInfo::exists(path("tree")));
}

void tst_FileUtils::rmAllNeverFollowsLinks()
{
    // A link to a folder elsewhere (a mounted share, the user's data) is
    // removed as a link: what it points to is never emptied.
    QVERIFY(writeFile(path("elsewhere/precious.txt"), "keep me"));
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("work")));
    QVERIFY(QFile::link(path("elsewhere"), path("work/link")));
    QVERIFY(writeFile(path("work/inside/a.txt"), "a"));
    QVERIFY(QFile::link(path("elsewhere"), path("work/inside/link")));

    QVERIFY(rmAll(path("work/inside")));
    QVERIFY(!QFileInfo::exists(path("work/inside")));
    QCOMPARE(readFile(path("elsewhere/precious.txt")), QByteArray("keep me"));

    QVERIFY(rmAll(path("work/link")));
    QVERIFY(!QFileInfo(path("work/link")).isSymLink());
    QCOMPARE(readFile(path("elsewhere/precious.txt")), QByteArray("keep me"));
    // Removed like a file: its folder goes with it.
    QVERIFY(!QFileInfo::exists(path("work")));

    // A dangling link is removed too.
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("dangling")));
    QVERIFY(QFile::link(path("nowhere"), path("dangling/link")));
    QVERIFY(rmAll(path("dangling/link")));
    QVERIFY(!QFileInfo::exists(path("dangling")));
}

void tst_FileUtils::rmAllEdgePaths_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("expected");
    QTest::newRow("missing path") << "nothing/here" << true;
    QTest::newRow("empty path") << "" << false;
    QTest::newRow("empty folder") << "empty" << true;
}

void tst_FileUtils::rmAllEdgePaths()
{
    QFETCH(QString, target);
    QFETCH(bool, expected);
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("empty")));
    QVERIFY(writeFile(path("other.txt"), "x"));
    const QString full = target.isEmpty() ? QString() : path(target);
    QCOMPARE(rmAll(full), expected);
    if (!target.isEmpty()) {
        QVERIFY(!QFileInfo::exists(full));
    }
    QVERIFY(QFileInfo::exists(path("other.txt")));
}

void tst_FileUtils::countAndSize_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<int>("count");
    QTest::addColumn<qint64>("size");
    QTest::newRow("tree without hidden entries") << "src" << 3 << qint64(3 + 5 + 7);
    QTest::newRow("sub tree") << "src/sub" << 2 << qint64(5 + 7);
    QTest::newRow("single file") << "src/sub/b.txt" << 1 << qint64(5);
    QTest::newRow("hidden file named directly") << "src/.h.txt" << 1 << qint64(6);
    QTest::newRow("empty folder") << "empty" << 0 << qint64(0);
    QTest::newRow("empty file") << "zero.txt" << 1 << qint64(0);
    QTest::newRow("missing") << "missing" << 0 << qint64(0);
}

void tst_FileUtils::countAndSize()
{
    QFETCH(QString, target);
    QFETCH(int, count);
    QFETCH(qint64, size);
    makeSource(path("src"));
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("empty")));
    QVERIFY(writeFile(path("zero.txt"), QByteArray()));
    QCOMPARE(pathCount(path(target)), count);
    QCOMPARE(pathSize(path(target)), size);
}

QTEST_GUILESS_MAIN(tst_FileUtils)

#include "tst_fileutils.moc"
