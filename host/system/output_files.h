// Private: output files that appear under their name only when complete,
// and the record of failed writes.
//
// A regular file opened to be written from scratch (CREATE_ALWAYS or
// CREATE_NEW, write access only) is written to a temporary file in the same
// folder: an unnamed one (O_TMPFILE) where the file system allows it, else
// a hidden ".snk-*" name held with an exclusive lock for as long as it is
// open. When the handle is closed the file is flushed and put in place:
// renamed over the target (which keeps the old file's mode) or, for
// CREATE_NEW, linked without replacing, so that a file that appeared
// meanwhile makes the close fail. A file whose writes failed is discarded
// and the earlier file stays.
#pragma once

#include <optional>
#include <string>

namespace snk::host {

struct PendingOutput {
  std::string target;     // where the file goes when it is closed
  std::string temporary;  // its hidden name; empty while it is unnamed
  bool replace = false;   // CREATE_ALWAYS: rename over the target
  int error = 0;          // the errno of the first failed write: discard at close
  int slot = -1;          // in the table that a signal handler empties
};

// Opens the temporary file for `path`; returns its descriptor or -1 with
// errno set. *existed tells whether the target was there. When the target
// is not a regular file (a device, a pipe) or its folder takes no new
// files, nothing is opened and *inPlace asks the caller to open the target
// itself.
int OpenPendingOutput(const std::string& path, bool replace, PendingOutput& pending, bool* existed,
                      bool* inPlace);
// Flushes and puts the file in place; 0 or an errno value. The file is
// discarded when that fails or when a write failed.
int CommitPendingOutput(int fd, PendingOutput& pending);
// Removes a named temporary file (an unnamed one goes with its descriptor).
void DiscardPendingOutput(PendingOutput& pending);

// The failed writes of this process, by path: the first errno of each.
void RecordWriteFailure(const std::string& path, int error);
std::optional<int> WriteFailureOf(const std::string& path);

}  // namespace snk::host
