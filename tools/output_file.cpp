#include "tools/output_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace vdtool {

namespace {

// Temporary files that a signal handler removes. Plain arrays: the handler
// may only touch async-signal-safe state.
constexpr int kCleanupSlots = 8;
constexpr size_t kMaxPath = 4096;
char g_cleanup_paths[kCleanupSlots][kMaxPath];
volatile sig_atomic_t g_cleanup_used[kCleanupSlots];

int RegisterCleanup(const std::string& path) {
  if (path.size() >= kMaxPath) return -1;
  for (int i = 0; i < kCleanupSlots; ++i) {
    if (!g_cleanup_used[i]) {
      std::memcpy(g_cleanup_paths[i], path.c_str(), path.size() + 1);
      g_cleanup_used[i] = 1;
      return i;
    }
  }
  return -1;
}

void UnregisterCleanup(int slot) {
  if (slot >= 0 && slot < kCleanupSlots) g_cleanup_used[slot] = 0;
}

void RemoveTempFilesAndDie(int sig) {
  for (int i = 0; i < kCleanupSlots; ++i) {
    if (g_cleanup_used[i]) unlink(g_cleanup_paths[i]);
  }
  signal(sig, SIG_DFL);
  raise(sig);
}

void SplitPath(const std::string& path, std::string* dir, std::string* base) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    *dir = ".";
    *base = path;
  } else {
    *dir = slash == 0 ? "/" : path.substr(0, slash);
    *base = path.substr(slash + 1);
  }
}

void CloseFd(OutputFile* out) {
  if (out->fd >= 0 && out->owns_fd) close(out->fd);
  out->fd = -1;
  out->owns_fd = false;
}

// Longest chain of symbolic links followed, as the kernel's own limit.
constexpr int kMaxLinkHops = 40;

}  // namespace

bool ResolveOutputLinks(const std::string& path, std::string* target,
                        std::string* error) {
  std::string p = path;
  for (int hop = 0; hop < kMaxLinkHops; ++hop) {
    struct stat st;
    if (lstat(p.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) {
      *target = p;
      return true;
    }
    const size_t length = st.st_size > 0 ? static_cast<size_t>(st.st_size) : 255;
    std::vector<char> buffer(length + 1);
    ssize_t n = readlink(p.c_str(), buffer.data(), buffer.size());
    if (n < 0 || static_cast<size_t>(n) >= buffer.size()) {
      *error = "cannot follow the symbolic link " + p + ": " +
               std::strerror(n < 0 ? errno : ENAMETOOLONG);
      return false;
    }
    std::string link(buffer.data(), static_cast<size_t>(n));
    if (link.empty()) break;
    if (link[0] == '/') {
      p = link;
    } else {
      std::string dir, base;
      SplitPath(p, &dir, &base);
      p = dir + "/" + link;
    }
  }
  *error = "cannot write " + path + ": too many levels of symbolic links";
  return false;
}

bool OutputWouldReplace(const std::string& path) {
  if (path == "-") return false;
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool OutputIsTerminal(const std::string& path) {
  if (path == "-") return isatty(STDOUT_FILENO) == 1;
  struct stat st;
  if (stat(path.c_str(), &st) != 0 || !S_ISCHR(st.st_mode)) return false;
  int fd = open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  const bool tty = isatty(fd) == 1;
  close(fd);
  return tty;
}

bool AskYesNo(FILE* in, FILE* out, const std::string& question) {
  std::fprintf(out, "%s [y/N] ", question.c_str());
  std::fflush(out);
  char line[64];
  if (!std::fgets(line, sizeof(line), in)) {
    std::fputc('\n', out);
    return false;
  }
  std::string answer;
  for (const char* c = line; *c && *c != '\n' && *c != '\r'; ++c) {
    if (!std::isspace(static_cast<unsigned char>(*c))) {
      const unsigned char u = static_cast<unsigned char>(*c);
      answer.push_back(static_cast<char>(std::tolower(u)));
    }
  }
  return answer == "y" || answer == "yes";
}

std::string WriteErrorText(int error_number, const std::string& name) {
  switch (error_number) {
    case ENOSPC:
      return "no space left on the device while writing " + name;
    case EDQUOT:
      return "disk quota exceeded while writing " + name;
    case EPIPE:
      return name + " was closed by the reader (broken pipe)";
    case EFBIG:
      return name + " has grown larger than the file system allows";
    default:
      return "cannot write " + name + ": " + std::strerror(error_number);
  }
}

bool OpenOutput(const std::string& path, OutputFile* out, std::string* error) {
  *out = OutputFile();
  out->path = path;
  if (path == "-") {
    out->fd = STDOUT_FILENO;
    out->name = "standard output";
    return true;
  }
  out->name = path;
  // Through a symbolic link the link's target is replaced and the link
  // stays.
  std::string target;
  if (!ResolveOutputLinks(path, &target, error)) return false;
  out->path = target;
  struct stat st;
  const bool exists = stat(target.c_str(), &st) == 0;
  if (exists) {
    if (S_ISDIR(st.st_mode)) {
      *error = "cannot write " + path + ": it is a directory";
      return false;
    }
    if (!S_ISREG(st.st_mode)) {
      // A device or FIFO: nothing to rename, write straight into it.
      out->fd = open(target.c_str(), O_WRONLY | O_CLOEXEC);
      if (out->fd < 0) {
        *error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
      }
      out->owns_fd = true;
      return true;
    }
  }
  std::string dir, base;
  SplitPath(target, &dir, &base);
  if (base.empty()) {
    *error = "cannot write " + path + ": it names a directory";
    return false;
  }
  std::string temp = dir + "/." + base + ".vdenoise-XXXXXX";
  std::string buffer = temp;
  int fd = mkstemp(&buffer[0]);
  if (fd < 0) {
    *error = "cannot create " + path + ": " + std::strerror(errno);
    return false;
  }
  if (exists) {
    // A replaced file keeps its permission bits (and, where allowed, its
    // group and owner).
    fchmod(fd, st.st_mode & 07777);
    if (fchown(fd, st.st_uid, st.st_gid) != 0) {
      // Not ours to give away; the bits alone are what matters.
    }
  } else {
    // mkstemp makes the file private; give it the permissions a plain
    // open(O_CREAT, 0666) would.
    mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
  }
  out->fd = fd;
  out->owns_fd = true;
  out->temp_path = buffer;
  out->cleanup_slot = RegisterCleanup(buffer);
  return true;
}

bool WriteOutput(OutputFile* out, const void* data, size_t size,
                 std::string* error) {
  const uint8_t* p = static_cast<const uint8_t*>(data);
  size_t left = size;
  while (left > 0) {
    ssize_t k = write(out->fd, p, left);
    if (k < 0) {
      if (errno == EINTR) continue;
      *error = WriteErrorText(errno, out->name);
      return false;
    }
    if (k == 0) {
      *error = WriteErrorText(ENOSPC, out->name);
      return false;
    }
    p += k;
    left -= static_cast<size_t>(k);
    out->bytes_written += static_cast<size_t>(k);
  }
  return true;
}

bool CommitOutput(OutputFile* out, std::string* error) {
  if (out->temp_path.empty()) {
    CloseFd(out);
    return true;
  }
  // The data must be on disk before the final name points at it.
  if (fdatasync(out->fd) != 0 && errno != EINVAL) {
    *error = WriteErrorText(errno, out->name);
    AbortOutput(out);
    return false;
  }
  int fd = out->fd;
  out->fd = -1;
  out->owns_fd = false;
  if (close(fd) != 0) {
    *error = WriteErrorText(errno, out->name);
    AbortOutput(out);
    return false;
  }
  if (rename(out->temp_path.c_str(), out->path.c_str()) != 0) {
    *error = "cannot rename the finished output to " + out->path + ": " +
             std::strerror(errno);
    AbortOutput(out);
    return false;
  }
  UnregisterCleanup(out->cleanup_slot);
  out->cleanup_slot = -1;
  out->temp_path.clear();
  return true;
}

void AbortOutput(OutputFile* out) {
  CloseFd(out);
  if (!out->temp_path.empty()) {
    unlink(out->temp_path.c_str());
    out->temp_path.clear();
  }
  UnregisterCleanup(out->cleanup_slot);
  out->cleanup_slot = -1;
}

void InstallOutputSignalHandlers() {
  signal(SIGPIPE, SIG_IGN);
  struct sigaction action;
  std::memset(&action, 0, sizeof(action));
  action.sa_handler = RemoveTempFilesAndDie;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGHUP, &action, nullptr);
}

bool MakeDirectories(const std::string& dir, std::string* error) {
  if (dir.empty()) {
    *error = "empty directory name";
    return false;
  }
  size_t pos = 0;
  while (pos != std::string::npos) {
    pos = dir.find('/', pos + 1);
    std::string part = dir.substr(0, pos);
    if (part.empty() || part == "/") continue;
    if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
      *error = "cannot create directory " + part + ": " + std::strerror(errno);
      return false;
    }
  }
  struct stat st;
  if (stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    *error = "cannot create directory " + dir + ": a file of that name exists";
    return false;
  }
  return true;
}

}  // namespace vdtool
