"""Runs a command and measures what it costs."""
import os
import resource
import select
import signal
import time
import traceback
from typing import NamedTuple

KEPT_OUTPUT = 1 << 16
MEMORY_CEILING, FILE_CEILING = 4 << 30, 2 << 30  # what no run gets more of, lest it take the machine's
COPY_GROWS = 1 << 20  # bytes, before it becomes the command
WAIT = 20  # times the timeout: a run that waits for something takes no time of the processor


class Run(NamedTuple):
    seconds: float  # of the processor, for program and system
    memory: int  # peak, in bytes
    least: int  # a lesser peak is not seen: the process begins as a copy of this one
    written: int  # bytes: standard output and error, and the file that was asked for
    status: int  # exit status, or minus the signal
    hung: bool
    stopped: bool  # for what it wrote: time and memory are those up to then
    output: bytes  # its beginning


def in_child(work):
    """Does `work` in a process of its own. This one stays small: the peak of a new process begins with its parent's."""
    child = os.fork()
    if child == 0:
        status = 1
        try:
            work()
            status = 0
        except Exception:  # pylint: disable=broad-except
            traceback.print_exc()
        finally:
            os._exit(status)
    if os.waitpid(child, 0)[1] != 0:
        raise RuntimeError("a file could not be made")


def start(command, output, timeout, ceiling):
    child = os.fork()
    if child != 0:
        return child
    try:
        os.dup2(os.open(os.devnull, os.O_RDONLY), 0)
        os.dup2(output, 1)
        os.dup2(output, 2)
        resource.setrlimit(resource.RLIMIT_CPU, (timeout, timeout + 1))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        signal.signal(signal.SIGXFSZ, signal.SIG_DFL)  # Python ignores it: a file without end would be a mere error
        resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_CEILING, FILE_CEILING))
        if ceiling:
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY_CEILING, MEMORY_CEILING))
        environment = {key: value for key, value in os.environ.items() if key not in ("AUTOTEST", "DWARFRULES")}
        environment.update(ASAN_OPTIONS="exitcode=99", UBSAN_OPTIONS="halt_on_error=1:exitcode=99")
        os.execve(command[0], command, environment)
    finally:
        os._exit(127)


def run(command, timeout, most_written, out=None, ceiling=True):
    """`timeout` in seconds of the processor; `out` is a file that the command may write, and is removed.

    A run that has written more than `most_written` bytes is stopped.
    """
    output, inner = os.pipe()
    child = start(command, inner, timeout, ceiling)
    os.close(inner)
    deadline = time.monotonic() + WAIT * timeout
    kept, written, hung, stopped = b"", 0, False, False
    while True:
        if written > most_written:
            stopped = True
            os.kill(child, signal.SIGKILL)
            break
        if not select.select([output], [], [], max(deadline - time.monotonic(), 0))[0]:
            hung = True
            os.kill(child, signal.SIGKILL)
            break
        data = os.read(output, 1 << 16)
        if not data:
            break
        kept += data[:KEPT_OUTPUT - len(kept)]
        written += len(data)
    os.close(output)
    _, status, usage = os.wait4(child, 0)
    if out is not None and os.path.exists(out):
        written += os.path.getsize(out)
        os.remove(out)
    status = os.waitstatus_to_exitcode(status)
    seconds = usage.ru_utime + usage.ru_stime
    hung = hung or status == -signal.SIGXCPU or seconds > timeout  # the system may end it late
    least = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024 + COPY_GROWS
    return Run(seconds, usage.ru_maxrss * 1024, least, written, status, hung, stopped, kept)
