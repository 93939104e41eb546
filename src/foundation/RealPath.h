#pragma once

#include <QByteArray>

// The real path of a file or folder, every link and "." or ".." resolved, as realpath(3)
// gives it. realpath asks the system about each component in turn, one walk from the root
// per component; every item of a large removal is checked this way, several times over, and
// on Linux the kernel can name what it opened after a single walk instead.
namespace RealPath {
// Empty, with the errno of the failing step in *error, when the path cannot be resolved.
QByteArray of(const QByteArray& path, int* error = nullptr);
} // namespace RealPath
