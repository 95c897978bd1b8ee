#pragma once
// The private temporary folder (frame stores, their descriptions, the undo file) and every
// file in it, reached so that nobody else can redirect a write.
//
// The folder is created 0700 without following a link at its name; an existing one is used
// only when it is a real folder owned by the user with mode 0700. It is then held open, and
// every file inside is opened relative to that descriptor: never through a link (O_NOFOLLOW),
// new files only when the name is unused (O_EXCL). Replacing a file means writing it under a
// fresh name and renaming it over the old one, which replaces a planted link itself, never
// the file the link points to.
#include <string>
#include <vector>

#include "media/file_util.h"

namespace tessfx {

class PrivateFolder {
 public:
  // Opens the folder at `path`, creating it (and missing parents) when it does not exist.
  // Throws CantCreate naming the folder when it cannot be made, or is a link, not a folder,
  // another user's, or open to others.
  static PrivateFolder Open(const std::string& path);

  const std::string& path() const { return path_; }
  // `name` inside the folder, for messages and listings.
  std::string PathOf(const std::string& name) const;

  // Creates `name` (0600), which must not exist yet, even as a link; read-write descriptor.
  int CreateFile(const std::string& name) const;
  // Creates a file of a fresh name "<prefix><random><suffix>" and returns its descriptor;
  // `name` receives the name.
  int CreateUniqueFile(const std::string& prefix, const std::string& suffix, std::string& name) const;
  // Opens an existing regular file for reading (or writing), never through a link and
  // without blocking on a pipe; -1 with errno ENOENT when there is no such file. Anything
  // else that is not a regular file throws NoInput.
  int OpenFile(const std::string& name, bool write = false) const;
  // Writes `text` to a fresh file and renames it over `name`.
  void ReplaceFile(const std::string& name, const std::string& text) const;
  // Renames `from` over `to`, both inside the folder.
  void Rename(const std::string& from, const std::string& to) const;
  // Removes `name` if it is there (a link is removed, not followed); false when it could
  // not be removed.
  bool Remove(const std::string& name) const;
  // True when `name` is a regular file (a link to one is not).
  bool HoldsFile(const std::string& name) const;
  // Names of the folder's entries, in no particular order.
  std::vector<std::string> List() const;

 private:
  PrivateFolder(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}
  std::string path_;
  Descriptor fd_;
};

}  // namespace tessfx
