// Private: the object behind a file HANDLE, and Windows paths on POSIX.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/system/handles.h"
#include "host/system/output_files.h"

namespace snk::host {

class FileObject : public KernelObject {
 public:
  explicit FileObject(int f) : fd(f) {}
  ~FileObject() override;
  FileObject(const FileObject&) = delete;
  FileObject& operator=(const FileObject&) = delete;
  // Puts a pending output in place and closes the descriptor.
  DWORD Close() override;
  // Records a failed write, flush or close against the path.
  void Failed(int error);

  int fd;
  std::string path;                      // set for files opened for writing
  std::optional<PendingOutput> pending;  // written to a temporary file
};

// A Windows-style path as a POSIX one: UTF-8, every '\' turned into '/'.
// Nothing else is special: "C:\x" is the relative path "C:/x". nullopt for
// an empty path or one that is not valid UTF-16.
std::optional<std::string> PosixPath(std::u16string_view path);

}  // namespace snk::host
