#include "services/fileutils.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

const QDir::Filters kListing = QDir::Dirs | QDir::Files | QDir::NoSymLinks | QDir::NoDotAndDotDot;

template <typename Leaf>
qint64 walk(const QString& path, Leaf leaf)
{
    const QFileInfo info(path);
    if (info.isFile()) {
        return leaf(info);
    }
    qint64 total = 0;
    const QDir dir(path);
    const QStringList names = dir.entryList(kListing, QDir::Unsorted);
    for (const QString& name : names) {
        total += walk(path + QDir::separator() + name, leaf);
    }
    return total;
}

} // namespace

bool copyDirectoryFiles(const QString& fromDir, const QString& toDir, bool overwrite)
{
    const QDir source(fromDir);
    QDir target(toDir);
    if (!target.exists() && !target.mkdir(target.absolutePath())) {
        return false;
    }
    const QFileInfoList entries = source.entryInfoList(kListing, QDir::Unsorted);
    for (const QFileInfo& entry : entries) {
        const QString destination = target.filePath(entry.fileName());
        if (entry.isDir()) {
            if (!copyDirectoryFiles(entry.filePath(), destination, overwrite)) {
                return false;
            }
            continue;
        }
        if (overwrite && target.exists(entry.fileName())) {
            target.remove(entry.fileName());
        }
        if (!QFile::copy(entry.filePath(), destination)) {
            return false;
        }
    }
    return true;
}

bool copyFile(QString from, QString to, bool overwrite)
{
    if (!QFileInfo::exists(from)) {
        return false;
    }
    if (overwrite && QFileInfo::exists(to)) {
        QFile::remove(to);
    }
    return QFile::copy(from, to);
}

bool rmAll(const QString& path)
{
    if (path.isEmpty()) {
        return false;
    }
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink()) {
        return true;
    }
    // isDir() follows a link: a link to a folder is still removed as a link.
    if (!info.isDir() || info.isSymLink()) {
        if (!QFile::remove(path)) {
            return false;
        }
        return rmAll(info.path());
    }
    QDir dir(path);
    const QFileInfoList entries =
        dir.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QFileInfo& entry : entries) {
        if (entry.isDir() && !entry.isSymLink()) {
            rmAll(entry.filePath());
        } else {
            QFile::remove(entry.filePath());
        }
    }
    return dir.rmdir(dir.absolutePath());
}

int pathCount(const QString& path)
{
    return int(walk(path, [](const QFileInfo&) -> qint64 { return 1; }));
}

qint64 pathSize(const QString& path)
{
    return walk(path, [](const QFileInfo& info) -> qint64 { return info.size(); });
}
