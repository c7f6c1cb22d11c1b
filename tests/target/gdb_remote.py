"""The GDB remote protocol from the other sides: QEMU to load into, a stub that misbehaves, a client that reads back."""
import contextlib
import socket
import subprocess
import threading
import time


def frame(payload):
    return b"$" + payload + b"#%02x" % (sum(payload) % 256)


def read_packet(stream):
    """The payload of the next packet; None at the end."""
    while (byte := stream.read(1)) != b"$":
        if not byte:
            return None
    payload = b""
    while (byte := stream.read(1)) != b"#":
        if not byte:
            return None
        payload += byte
    stream.read(2)
    return payload


class Client:
    """A second connection to a stub, to see what is there. Closing it leaves the target as it is."""

    def __init__(self, connection):
        self.connection, self.stream = connection, connection.makefile("rb")
        self.ask(b"qSupported")
        self.ask(b"qXfer:features:read:target.xml:0,100")  # QEMU hands out registers only after this
        self.ask(b"qXfer:features:read:power-core.xml:0,100")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stream.close()
        self.connection.close()

    def ask(self, request):
        self.connection.sendall(frame(request))
        while (answer := read_packet(self.stream)).startswith(b"T"):  # that it has stopped, unasked for
            self.connection.sendall(b"+")
        self.connection.sendall(b"+")
        return answer

    def memory(self, address, count):
        return b"".join(bytes.fromhex(self.ask(b"m%x,%x" % (at, min(256, address + count - at))).decode())
                        for at in range(address, address + count, 256))

    def register(self, number):
        return int(self.ask(b"p%x" % number), 16)


@contextlib.contextmanager
def qemu(program, *arguments, path):
    """Runs QEMU's stub on a Unix socket; yields the target's name and a function that connects."""
    def connect():
        connection = socket.socket(socket.AF_UNIX)
        connection.settimeout(20)
        with contextlib.ExitStack() as on_failure:
            on_failure.callback(connection.close)
            connection.connect(str(path))
            on_failure.pop_all()
        return connection

    process = subprocess.Popen([program, *arguments, "-S", "-gdb", f"unix:{path},server=on,wait=off", "-display",
                                "none", "-monitor", "none", "-serial", "none"], stdin=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    try:
        for _ in range(200):
            with contextlib.suppress(OSError):
                connect().close()
                break
            time.sleep(0.1)
        yield f"gdb:unix:{path}", connect
    finally:
        process.kill()
        process.wait()


@contextlib.contextmanager
def stub(answer):
    """A stub for one connection: `answer(number, request)` returns bytes to send, or None to close the connection."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        def serve():
            with contextlib.suppress(OSError):
                connection, _ = server.accept()
                with connection, connection.makefile("rb") as stream:
                    number = 0
                    while (request := read_packet(stream)) is not None:
                        number += 1
                        reply = answer(number, request)
                        if reply is None:
                            return
                        connection.sendall(reply)

        thread = threading.Thread(target=serve, daemon=True)
        thread.start()
        yield f"gdb:127.0.0.1:{server.getsockname()[1]}"
