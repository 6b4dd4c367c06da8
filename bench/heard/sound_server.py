"""A sound server of the contest's own, and a recorder of what its sinks play."""

import itertools
import json
import os
import re
import signal
import socket
import subprocess
import threading
import time
from pathlib import Path

import sounds

PATIENCE = 30
# A recording's frames and when they were there are compared half a second around the frame that is asked for.
TIMELINE_SECONDS = 0.5
FRAME_BYTES = 8


class Trouble(Exception):
    """What has to work for anything to be measured does not."""


def eventually(condition, seconds=PATIENCE):
    """Calls `condition` until what it answers is true, which is the answer."""
    end = time.monotonic() + seconds
    while not (answer := condition()):
        if time.monotonic() > end:
            return condition()
        time.sleep(0.002)
    return answer


class SoundServer:
    """PipeWire, its session manager and a message bus in folders of their own, without the machine's sound hardware. All cycles
    have the same length, whatever programs ask for."""

    def __init__(self, folder, sinks=("one",), quantum=1024):
        # Short: paths of sockets are limited to about a hundred bytes.
        self.folder = Path(folder)
        self.sinks = sinks
        self.processes = []
        self.counter = itertools.count()
        (self.folder / "runtime").mkdir(mode=0o700)
        others = ("PIPEWIRE_", "WIREPLUMBER_", "PULSE_", "DISPLAY", "WAYLAND_", "LC_", "LANG")
        self.environment = {name: value for name, value in os.environ.items() if not name.startswith(others)}
        self.environment |= {f"XDG_{kind.upper()}_HOME": str(self.folder / kind)
                             for kind in ("config", "state", "data", "cache")}
        self.environment |= {"XDG_RUNTIME_DIR": str(self.folder / "runtime"), "HOME": str(self.folder / "home"),
                             "LC_ALL": "C.UTF-8",
                             "DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.folder}/runtime/bus"}
        self._configure(quantum)

    def __enter__(self):
        try:
            self.spawn(["dbus-daemon", "--session", "--nofork",
                        f"--address={self.environment['DBUS_SESSION_BUS_ADDRESS']}"])
            self._require(eventually(lambda: self._accepts("bus")), "no message bus")
            self.spawn(["pipewire"])
            self._require(eventually(lambda: self._accepts("pipewire-0")), "PipeWire does not listen")
            self.spawn(["wireplumber"])
            for sink in self.sinks:
                self._require(eventually(lambda sink=sink: f"{sink}:" in self.run("pw-link", "-i")),
                              f"{sink} has no ports")
            self.set_default(self.sinks[0])
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.kill()
            process.wait()

    def _configure(self, quantum):
        clock = "\n".join(f"    default.clock.{key} = {quantum}" for key in ("quantum", "min-quantum", "max-quantum"))
        objects = "\n".join(
            "    { factory = adapter args = { factory.name=support.null-audio-sink node.name=%s media.class=Audio/Sink "
            "audio.channels=2 audio.position=\"FL,FR\" object.linger=true priority.session=%d } }" % (sink, 2000 - i)
            for i, sink in enumerate(self.sinks))
        self._write("config/pipewire/pipewire.conf.d/bench.conf",
                    f"context.properties = {{\n    default.clock.rate = {sounds.RATE}\n{clock}\n}}\n"
                    f"context.objects = [\n{objects}\n]\n")
        # Session managers up to 0.4 read Lua, later ones fragments. Each ignores what the other reads.
        self._write("config/wireplumber/main.lua.d/51-no-hardware.lua",
                    "".join(f"{kind}_monitor.enabled = false\n" for kind in ("alsa", "v4l2", "libcamera")))
        self._write("config/wireplumber/bluetooth.lua.d/51-no-hardware.lua", "bluez_monitor.enabled = false\n")
        self._write("config/wireplumber/wireplumber.conf.d/no-hardware.conf",
                    "wireplumber.profiles = { main = { hardware.audio = disabled hardware.bluetooth = disabled "
                    "hardware.video-capture = disabled } }\n")

    def _write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content, encoding="utf-8")

    def _accepts(self, name):
        with socket.socket(socket.AF_UNIX) as connection:
            return connection.connect_ex(str(self.folder / "runtime" / name)) == 0

    def _require(self, condition, what):
        if not condition:
            logs = "".join(f"---- {file.name}\n{file.read_text(encoding='utf-8', errors='replace')}"
                           for file in sorted(self.folder.glob("*.log")))
            raise Trouble(f"private sound server: {what}\n{logs}")

    def new_path(self, stem, suffix):
        return self.folder / f"{stem}-{next(self.counter)}{suffix}"

    def spawn(self, command, **options):
        """Starts a program that ends with the server at the latest. What it writes is in the log, unless `options` say
        where else that goes."""
        log = self.new_path(Path(command[0]).name, ".log")
        with open(log, "wb") as output:
            process = subprocess.Popen(command, env=self.environment, **{
                "stdin": subprocess.DEVNULL, "stdout": output, "stderr": subprocess.STDOUT, **options})
        process.log = log
        self.processes.append(process)
        return process

    def run(self, *command):
        result = subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL, capture_output=True,
                                encoding="utf-8", timeout=PATIENCE, check=False)
        if result.returncode != 0:
            raise Trouble(f"{' '.join(command)}: {result.stderr or result.stdout}")
        return result.stdout

    def set_default(self, sink):
        self.run("pw-metadata", "0", "default.configured.audio.sink", json.dumps({"name": sink}), "Spa:String:JSON")
        # What is told of it: the default that the session manager has made of the user's choice.
        chosen = re.compile(rf"key:'default\.audio\.sink' value:'[^']*\"{sink}\"")
        self._require(eventually(lambda: chosen.search(self.run("pw-metadata", "0"))), f"{sink} is not the default")

    def destroy(self, sink):
        self.run("pw-cli", "destroy", str(self.node(sink)["id"]))

    def move(self, stream, sink):
        """As a mixer does it."""
        self.run("pw-metadata", str(stream["id"]), "target.object", str(self.node(sink)["info"]["props"]["object.serial"]))

    def objects(self, kind):
        try:
            everything = json.loads(self.run("pw-dump"))
        except json.JSONDecodeError:  # something has changed while it was written
            return []
        return [thing for thing in everything if thing.get("type") == f"PipeWire:Interface:{kind}" and thing.get("info")]

    def node(self, name):
        return eventually(lambda: next((node for node in self.objects("Node")
                                        if node["info"]["props"].get("node.name") == name), None))

    def _streams(self, media_class):
        return [node for node in self.objects("Node") if node["info"]["props"].get("media.class") == media_class]

    def playing_stream(self):
        """The one stream that plays."""
        return eventually(lambda: next(iter(self._streams("Stream/Output/Audio")), None))

    def recording_streams(self):
        return self._streams("Stream/Input/Audio")

    def sinks_of(self, stream):
        """The names of the sinks that a stream is linked to."""
        linked = {link["info"]["input-node-id"] for link in self.objects("Link")
                  if link["info"]["output-node-id"] == stream["id"]}
        return sorted(name for node in self.objects("Node")
                      if node["id"] in linked and (name := node["info"]["props"].get("node.name")) in self.sinks)


class Recorder:
    """Records what a sink plays, through its monitor, and knows when each frame was there."""

    PROPERTIES = ("{ stream.capture.sink=true node.dont-reconnect=true node.dont-fallback=true node.dont-move=true "
                  "state.restore-target=false state.restore-props=false }")

    def __init__(self, server, sink):
        self.path = server.new_path(f"heard-{sink}", ".wav")
        self.process = server.spawn(["pw-record", "--target", sink, "--properties", self.PROPERTIES, "--rate",
                                     str(sounds.RATE), "--channels", "2", "--format", "f32", str(self.path)])
        self.header = 0
        self.growth = []  # times, and how many frames there were
        self.is_over = threading.Event()
        self.sound = None
        if not eventually(lambda: self._size() > 2 * 4096):
            raise Trouble(f"nothing is recorded of {sink}: {self.process.log.read_text(encoding='utf-8')}")
        with open(self.path, "rb") as file:
            self.header = file.read(4096).index(b"data") + 8
        self.watching = threading.Thread(target=self._watch, daemon=True)
        self.watching.start()

    def _size(self):
        try:
            return os.stat(self.path).st_size
        except FileNotFoundError:
            return 0

    def _watch(self):
        before = 0
        while not self.is_over.wait(0.001):
            frames = self.frames()
            if frames != before:
                self.growth.append((time.monotonic(), frames))
                before = frames

    def frames(self):
        return (self._size() - self.header) // FRAME_BYTES

    def time_of(self, frame):
        """Seconds on the system's clock, of a frame of the recording. A cycle may be written late, never early."""
        span = TIMELINE_SECONDS * sounds.RATE
        offsets = [at - frames / sounds.RATE for at, frames in self.growth if abs(frames - frame) <= span]
        if not offsets:
            raise Trouble("nobody has seen this frame arrive")
        return min(offsets) + frame / sounds.RATE

    def hears(self, frames=4800):
        """Whether there was sound all through the last frames, by ten looks at them."""
        end = self.frames()
        if end < frames:
            return False
        with open(self.path, "rb") as file:
            file.seek(self.header + (end - frames) * FRAME_BYTES)
            content = file.read(frames * FRAME_BYTES)
        piece = len(content) // 10
        return piece > 0 and all(any(content[start:start + piece]) for start in range(0, 10 * piece, piece))

    def listen(self, seconds):
        """Waits until so much more has been recorded, or nothing more is."""
        end = self.frames() + int(seconds * sounds.RATE)
        eventually(lambda: self.frames() >= end or self.process.poll() is not None, seconds + PATIENCE)

    def wait_for_sound(self):
        if not eventually(self.hears):
            raise Trouble("nothing is heard")

    def wait_for_silence(self, frames=9600):
        def is_silent():
            start = self.header + (self.frames() - frames) * FRAME_BYTES
            with open(self.path, "rb") as file:
                file.seek(start)
                return not any(file.read(frames * FRAME_BYTES))
        if not eventually(is_silent):
            raise Trouble("it plays on")

    def finish(self):
        """Ends the recording, and returns what was heard."""
        if self.sound is None:
            self.process.send_signal(signal.SIGINT)
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:  # its sink is gone, and so is what would wake it
                self.process.kill()
                self.process.wait()
            self.is_over.set()
            self.watching.join()
            self.sound = sounds.read_recording(self.path)
        return self.sound
