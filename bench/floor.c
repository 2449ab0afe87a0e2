/* The floor of the benchmark: a statically linked program that does nothing.
 * Its exec-to-exit time is what starting any process costs on this machine.
 *
 * "cantora-bench-floor --rss PROGRAM ARGS..." runs PROGRAM and then prints its
 * peak resident memory (kB) on stderr. A child started straight from the
 * benchmark would inherit the benchmark's own high-water mark; one started
 * from this small program inherits only this program's. */
#include <stdio.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

int main(int argc, char** argv) {
  if (argc > 2 && strcmp(argv[1], "--rss") == 0) {
    pid_t pid = fork();
    if (pid == 0) {
      execve(argv[2], argv + 2, environ);
      _exit(127);
    }
    int status = 0;
    struct rusage usage;
    if (pid < 0 || wait4(pid, &status, 0, &usage) != pid) return 127;
    char line[32];
    int n = snprintf(line, sizeof line, "%ld\n", usage.ru_maxrss);
    if (write(STDERR_FILENO, line, (size_t)n) != n) return 127;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
  }
  return 0;
}
