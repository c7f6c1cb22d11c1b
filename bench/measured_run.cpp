// Runs a command and writes what it used, for compare.py: a process that a large program starts would begin with that
// program's peak memory.
//
//   measured_run USAGE-FILE COMMAND [ARGUMENT...]   exits with the command's status
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace {

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: measured_run USAGE-FILE COMMAND [ARGUMENT...]\n");
    return 2;
  }
  const pid_t child = fork();
  if (child == 0) {
    execvp(argv[2], argv + 2);
    std::perror(argv[2]);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) {
    std::perror("measured_run");
    return 126;
  }
  std::FILE* out = std::fopen(argv[1], "w");
  if (out == nullptr) {
    std::perror(argv[1]);
    return 126;
  }
  std::fprintf(out, "{\"cpuSeconds\": %.6f, \"peakBytes\": %lld}\n", Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
               static_cast<long long>(usage.ru_maxrss) * 1024);
  std::fclose(out);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 125;
}
