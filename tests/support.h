// What program-level tests share: a fresh directory for each test, whole files in and out, and a
// program run with its output, error text and status.
#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tabulon {

// A new directory that goes with its owner, contents and all.
class TempDir {
 public:
  explicit TempDir(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string name = (parent / "tabulontest.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string path() const { return path_.string(); }
  // The name of an entry of it.
  std::string operator/(std::string_view name) const { return (path_ / name).string(); }
  // Names of its entries, sorted; directories are not entered.
  std::vector<std::string> Entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::system_error(errno, std::generic_category(), path);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline void WriteFile(const std::string& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::system_error(errno, std::generic_category(), path);
}

// While it lives, the files of this process cannot grow beyond so many bytes, as on a full disk.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
};

struct RunResult {
  int status = -1;  // exit status; 128 + signal number when a signal ended the program
  std::string out;
  std::string err;
};

struct RunOptions {
  std::map<std::string, std::string> env = {};  // set on top of the test's own environment
  std::string cwd = {};                         // empty = the test's own
};

namespace support_internal {

[[noreturn]] inline void BecomeProgram(const std::vector<std::string>& argv,
                                       const RunOptions& options, const TempDir& dir) {
  const bool redirected = freopen("/dev/null", "rb", stdin) != nullptr &&
                          freopen((dir / "out").c_str(), "ab", stdout) != nullptr &&
                          freopen((dir / "err").c_str(), "wb", stderr) != nullptr;
  for (const auto& [name, value] : options.env) setenv(name.c_str(), value.c_str(), 1);
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  if (redirected && (options.cwd.empty() || chdir(options.cwd.c_str()) == 0)) {
    execv(args[0], args.data());
  }
  _exit(127);
}

}  // namespace support_internal

// Runs argv[0] (a path) to its end, without input. Its output goes to files, so it is what a pipe
// would get.
inline RunResult RunProgram(const std::vector<std::string>& argv, const RunOptions& options = {}) {
  const TempDir dir;
  WriteFile(dir / "out", "");
  WriteFile(dir / "err", "");
  std::fflush(nullptr);  // or the child would write the buffers, too
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) support_internal::BecomeProgram(argv, options, dir);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
  }
  RunResult result;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = ReadFile(dir / "out");
  result.err = ReadFile(dir / "err");
  return result;
}

// The programs under test; defined for the test folders that run them.
#ifdef TABULON_PROGRAM
inline std::string TabulonPath() {
  return TABULON_PROGRAM;
}
inline std::string MkdtlPath() {
  return MKDTL_PROGRAM;
}

// Runs the program with these arguments.
inline RunResult RunTabulon(std::vector<std::string> args, const RunOptions& options = {}) {
  args.insert(args.begin(), TabulonPath());
  return RunProgram(args, options);
}
inline RunResult RunMkdtl(std::vector<std::string> args, const RunOptions& options = {}) {
  args.insert(args.begin(), MkdtlPath());
  return RunProgram(args, options);
}
#endif

}  // namespace tabulon
