"""The include-direction check accepts what points downwards and names every line that does not."""

import tempfile
import unittest
from pathlib import Path

import check_includes

# One file a layer, from top to bottom; each includes the one below as its layer may.
CLEAN = {
    "tools/braq/main.cpp": '#include "tools/braq/play/PlayCommand.h"\n',
    "tools/braq/play/PlayCommand.h": '#include "tools/braq/play/Playback.h"\n#include "tools/braq/terminal/Keys.h"\n',
    "tools/braq/play/Playback.h": "#include <BRAQAudio/BRAQAudio.h>\n",
    "tools/braq/record/RecordCommand.h": "",
    "tools/braq/terminal/Keys.h": '#include "tools/braq/shared/Text.h"\n',
    "tools/braq/shared/Text.h": "",
    "examples/play.cpp": "#include <BRAQAudio/BRAQAudio.h>\n#include <string>\n",
    "examples/from_c.c": "#include <BRAQAudio/platform/types.h>\n#include <stdio.h>\n",
    "include/BRAQAudio/BRAQAudio.h": '#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"\n',
    "include/BRAQAudio/BRAQExtendedAudioFilePlayer.h": '#include "BRAQAudio/BRAQAudioGraph.h"\n',
    "include/BRAQAudio/BRAQAudioGraph.h": '#include "BRAQAudio/BRAQAudioFileStreamer.h"\n',
    "include/BRAQAudio/BRAQAudioFileStreamer.h": '#include "BRAQAudio/BRAQAudioDevice.h"\n',
    "library/src/BRAQAudioFileStreamer_Queue.cpp": '#include "BRAQAudio/BRAQAudioFileStreamer.h"\n',
    "include/BRAQAudio/BRAQAudioDevice.h": '#include "BRAQAudio/BRAQAudioBuffer.h"\n',
    "include/BRAQAudio/BRAQAudioBuffer.h": '#include "BRAQAudio/core/BGuard.h"\n',
    "include/BRAQAudio/core/BGuard.h": '#include "BRAQAudio/errors/Check.h"\n#include <atomic>\n',
    "library/core/BGuard.cpp": '#include "library/core/BRecord.h"\n#include "BRecord.h"\n',
    "library/core/BRecord.h": "",
    "include/BRAQAudio/errors/Check.h": '#include "BRAQAudio/platform/foundation.h"\n',
    "include/BRAQAudio/platform/foundation.h": '#include "BRAQAudio/platform/types.h"\n',
    "include/BRAQAudio/platform/types.h": "",
    "platform/files/AudioFile.cpp": '#include "platform/files/reading/FileReader.h"\n',
    "platform/files/reading/FileReader.h": '#include "platform/files/libav/Libav.h"\n',
    "platform/files/writing/FileWriter.h": '#include "platform/files/libav/Libav.h"\n',
    "platform/files/libav/Libav.h": '#include "platform/files/formats/FileTypes.h"\n#include <libavformat/avformat.h>\n',
    "platform/files/formats/FileTypes.h": "",
    "platform/units/Unit.h": '#include "platform/hardware/Hardware.h"\n',
    "platform/hardware/Hardware.h": '#include "platform/hardware/drivers/Drivers.h"\n',
    "platform/hardware/drivers/Drivers.h": '#include "platform/hardware/drivers/software/SoftwareDriver.h"\n',
    "platform/hardware/drivers/software/SoftwareDriver.h": '#include "platform/hardware/drivers/Driver.h"\n',
    "platform/hardware/drivers/pipewire/Loop.h": '#include "platform/hardware/drivers/Driver.h"\n',
    "platform/hardware/drivers/Driver.h": '#include "platform/samples/Planes.h"\n',
    "platform/samples/Planes.h": '#include "platform/threads/Barrier.h"\n',
    "platform/threads/Barrier.h": '#include "platform/foundation/Text.h"\n',
    "platform/foundation/Text.cpp": '#include "platform/foundation/Text.h"\n#include <dbus/dbus.h>\n',
    "platform/foundation/Text.h": '#include "BRAQAudio/platform/types.h"\n',
    "tests/core/BGuardTests.cpp": '#include "platform/foundation/Text.h"\n',
}

# What must be found: a line put in front of a file of the tree above, and a part of the message.
VIOLATIONS = [
    ("tools/braq/play/Playback.h", '#include "tools/braq/record/RecordCommand.h"', "subcommands may not include"),
    ("tools/braq/terminal/Keys.h", '#include "tools/braq/play/Playback.h"', "of subcommands"),
    ("tools/braq/shared/Text.h", '#include "library/core/BRecord.h"', "what subcommands share may not include"),
    ("platform/files/writing/FileWriter.h", '#include "platform/files/reading/FileReader.h"',
     "readers and writers may not include"),
    ("platform/files/libav/Libav.h", '#include "platform/files/reading/FileReader.h"', "libav may not include"),
    ("platform/units/Unit.h", '#include "platform/files/formats/FileTypes.h"', "of file formats"),
    ("platform/hardware/Hardware.h", '#include "platform/units/Unit.h"', "hardware may not include"),
    ("platform/hardware/drivers/pipewire/Loop.h", '#include "platform/hardware/Hardware.h"', "of hardware"),
    ("platform/hardware/drivers/pipewire/Loop.h", '#include "platform/hardware/drivers/software/SoftwareDriver.h"',
     "drivers may not include"),
    ("platform/samples/Planes.h", '#include "platform/hardware/drivers/Driver.h"', "of what a driver is"),
    ("platform/foundation/Text.h", '#include "platform/threads/Barrier.h"', "of threads"),
    ("examples/play.cpp", '#include "BRAQAudio/BRAQAudioBuffer.h"', "examples may not include"),
    ("examples/play.cpp", "#include <BRAQAudio/platform/types.h>", "examples may not include"),
    ("examples/from_c.c", "#include <BRAQAudio/BRAQAudio.h>", "examples may not include"),
    ("include/BRAQAudio/BRAQAudioGraph.h", '#include "BRAQAudio/BRAQAudio.h"', "units may not include"),
    ("include/BRAQAudio/BRAQAudioGraph.h", '#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"', "of transport"),
    ("library/src/BRAQAudioFileStreamer_Queue.cpp", '#include "BRAQAudio/BRAQAudioGraph.h"', "files may not include"),
    ("include/BRAQAudio/BRAQAudioDevice.h", "#include <BRAQAudio/BRAQAudioFileStreamer.h>", "devices may not include"),
    ("include/BRAQAudio/BRAQAudioBuffer.h", '  #  include "BRAQAudioDevice.h"', "buffers may not include"),
    ("library/core/BGuard.cpp", '#include "BRAQAudio/BRAQAudioBuffer.h"', "core may not include"),
    ("library/core/BGuard.cpp", '#include "platform/foundation/Text.h"', "core may not include"),
    ("library/core/BGuard.cpp", '#include "../platform/foundation/Text.h"', "core may not include"),
    ("library/core/BGuard.cpp", "#include <dbus/dbus.h>", "the standard library and threads only"),
    ("library/core/BGuard.cpp", '#include "library/core/Missing.h"', "no file of the project"),
    ("include/BRAQAudio/errors/Check.h", '#include "BRAQAudio/core/BGuard.h"', "errors may not include"),
    ("platform/foundation/Text.cpp", '#include "BRAQAudio/core/BGuard.h"', "foundation may not include"),
    ("platform/foundation/Text.cpp", '#include "library/core/BRecord.h"', "foundation may not include"),
    ("include/BRAQAudio/platform/types.h", '#include "platform/foundation/Text.h"',
     "platform interface may not include"),
    ("include/BRAQAudio/platform/types.h", '#include "BRAQAudio/errors/Check.h"',
     "platform interface may not include"),
]

UNPLACED = ["library/src/BRAQAudioSomething.cpp", "include/BRAQAudio/Other.h", "platform/stray.cpp", "platform/files/other/New.cpp", "helpers/New.h"]


class CheckIncludes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.project = Path(folder.name)
        for path, text in CLEAN.items():
            self.write(path, text)

    def write(self, path, text):
        (self.project / path).parent.mkdir(parents=True, exist_ok=True)
        (self.project / path).write_text(text, encoding="utf-8")

    def test_accepts_includes_that_point_downwards(self):
        self.assertEqual(check_includes.check(self.project), ([], len(CLEAN) - 1))

    def test_names_the_line_of_each_violation(self):
        for path, line, message in VIOLATIONS:
            with self.subTest(path=path, line=line):
                self.write(path, f"\n{line}\n{CLEAN[path]}")
                problems, _ = check_includes.check(self.project)
                self.assertEqual(len(problems), 1, problems)
                self.assertTrue(problems[0].startswith(f"{path}:2: "), problems)
                self.assertIn(message, problems[0])
                self.write(path, CLEAN[path])

    def test_refuses_a_file_that_fits_no_layer(self):
        for path in UNPLACED:
            with self.subTest(path=path):
                self.write(path, "")
                problems, _ = check_includes.check(self.project)
                self.assertEqual(len(problems), 1, problems)
                self.assertIn(f"{path}: fits no layer", problems[0])
                (self.project / path).unlink()


if __name__ == "__main__":
    unittest.main()
