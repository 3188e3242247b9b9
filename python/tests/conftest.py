import ctypes
import gc
import os


def pytest_sessionfinish(session, exitstatus):
    # Under the ASan build: what the session left unreachable, while the
    # interpreter's own long-lived memory is still referenced.
    if not os.environ.get("TIRN_LEAK_CHECK"):
        return
    gc.collect()
    if ctypes.CDLL(None).__lsan_do_recoverable_leak_check():
        session.exitstatus = 1
