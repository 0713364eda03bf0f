/// The inside of a process that tries packages on one terminal.
#ifndef WZ_MATRIX_WORKER_H
#define WZ_MATRIX_WORKER_H

#include <memory>

#include "wz/matrix/cell_workers.h"

namespace wz {

/// Tries a batch and tells of it by worker_lines.h on `pipe`. For a process of its own, which is to
/// end then.
/// \param image  the terminal with what is installed there.
/// \param first  is to be installed there before; null: nothing.
void tryBatch(const TerminalImage& image, const PackageFiles* first, const Batch& batch, int pipe);

}  // namespace wz

#endif  // WZ_MATRIX_WORKER_H
