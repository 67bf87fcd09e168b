#pragma once

// Copying, removing, counting and measuring files and folders. Relative paths
// are relative to the working directory. Hidden entries and symbolic links are
// never copied, counted or measured. Nothing here logs; partial work is never
// rolled back.

#include <zarvo/zarvo_global.h>

#include <QString>

// Copy the tree below `fromDir` into `toDir`. `toDir` itself is created when
// missing, but only one level (its parent must exist). Without `overwrite` an
// existing target file fails the copy; the first failure stops it.
ZARVO_EXPORT bool copyDirectoryFiles(const QString& fromDir, const QString& toDir, bool overwrite);

// Copy one file; false when `from` is missing or `to` exists without `overwrite`.
ZARVO_EXPORT bool copyFile(QString from, QString to, bool overwrite);

// DANGEROUS BY DESIGN: removing a FILE also removes the folder that contained
// it, with everything else in it (a file directly in the working directory
// therefore empties the working directory). Removing a folder removes its
// visible content and then the folder, which fails when hidden entries remain.
// A missing path counts as removed; an empty path is refused. Symbolic links
// are removed themselves, never followed.
ZARVO_EXPORT bool rmAll(const QString& path);

// Number of files below `path` (1 for a file; folders count nothing).
ZARVO_EXPORT int pathCount(const QString& path);
// Total size in bytes of the files below `path`.
ZARVO_EXPORT qint64 pathSize(const QString& path);
