#!/usr/bin/env python3
"""panelkitd under a service manager that speaks systemd's protocol: this program plays the manager.

    socket_activation_test.py FOLDER_OF_PROGRAMS
"""
import os
import signal
import socket
import subprocess
import sys
import tempfile

PROGRAMS = sys.argv[1]
# The variable that names the process must hold the number of panelkitd, which only the shell that becomes it knows.
BECOME = ["sh", "-c", 'LISTEN_PID=$$ exec "$@"', "sh"]


class Manager:
    """Listens at an endpoint, and hears what services report."""

    def __init__(self, folder):
        self.folder = folder
        self.endpoint = os.path.join(folder, "bridge.sock")
        self.listening = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listening.bind(self.endpoint)
        self.listening.listen(16)
        self.reports = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.reports.bind(os.path.join(folder, "notify"))
        self.reports.settimeout(30)

    def start(self, endpoint=None, sockets=1):
        command = [os.path.join(PROGRAMS, "panelkitd"), "--endpoint", endpoint or self.endpoint,
                   "--state", os.path.join(self.folder, "state"), "--embedded-module", ""]
        environment = {**os.environ, "LISTEN_FDS": str(sockets), "NOTIFY_SOCKET": self.reports.getsockname()}

        def pass_sockets():
            for descriptor in range(3, 3 + sockets):
                os.dup2(self.listening.fileno(), descriptor)
                os.set_inheritable(descriptor, True)  # dup2 does nothing when both are the same

        return subprocess.Popen(BECOME + command, env=environment, preexec_fn=pass_sockets, close_fds=False,
                                stderr=subprocess.PIPE, text=True)

    def heard(self):
        return self.reports.recv(4096).decode()

    def front_end(self):
        return subprocess.Popen([os.path.join(PROGRAMS, "panelctl"), "--endpoint", self.endpoint, "provider", "list"],
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)


def check(condition, what):
    if not condition:
        sys.exit("socket_activation_test: " + what)


def serves_who_came_before_it_started(manager):
    early = manager.front_end()  # waits in the queue of the socket
    for _ in range(2):           # a stop leaves the socket for the next start
        service = manager.start()
        check("READY=1" in manager.heard(), "the service did not say that it can be used")
        check(early.wait(timeout=30) == 0, "a front end that waited was not served: " + early.stderr.read())
        service.send_signal(signal.SIGTERM)
        check("STOPPING=1" in manager.heard(), "the service did not say that it stops")
        check(service.wait(timeout=30) == 0, "the service ended with an error: " + service.stderr.read())
        check(os.path.exists(manager.endpoint), "the manager's socket was removed")
        early = manager.front_end()
    early.kill()
    early.wait()


def refuses_units_that_contradict_each_other(manager):
    for told, options in (("must be the same path", {"endpoint": manager.endpoint + "2"}),
                          ("panelkitd takes one", {"sockets": 2})):
        service = manager.start(**options)
        _, said = service.communicate(timeout=30)
        check(service.returncode == 1 and told in said, "not refused: " + said)


with tempfile.TemporaryDirectory() as work:
    one = Manager(work)
    serves_who_came_before_it_started(one)
    refuses_units_that_contradict_each_other(one)
