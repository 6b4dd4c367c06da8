"""The example with a loop of its own hears of devices while it waits for lines."""

import argparse
import os
import subprocess
import tempfile
import unittest


class PollLoop(unittest.TestCase):
    def test_it_tells_of_a_device_that_comes_and_of_one_that_goes(self):
        # Without a sound server of the machine there is one device.
        with tempfile.TemporaryDirectory() as folder:
            environment = {**os.environ, "XDG_RUNTIME_DIR": folder, "PIPEWIRE_RUNTIME_DIR": folder}
            with subprocess.Popen([OPTIONS.program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                  env=environment) as program:
                for told in ("2 devices\n", "1 devices\n"):
                    program.stdin.write("\n")
                    program.stdin.flush()
                    self.assertEqual(program.stdout.readline(), told)
                program.stdin.close()
                self.assertEqual(program.wait(), 0)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[__file__, *rest])
