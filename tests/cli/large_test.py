"""300 MB pass through pipes of commands unchanged. Not run with sanitizers, which need several times the memory."""
import subprocess
import unittest

from running import CommandTest, ENVIRONMENT


class Large(CommandTest):
    @classmethod
    def setUpKeys(cls):
        cls.make("key", "new", "P-256", "key.pem")

    def test_300_mb_of_bytes_come_out_of_a_pipe_as_they_went_in(self):
        # No text, and different in every part.
        source = ("/usr/bin/python3 -c 'import random, sys; source = random.Random(1)\n"
                  "for _ in range(300): sys.stdout.buffer.write(source.randbytes(1000000))'")
        expected = subprocess.run(["bash", "-c", source + " | tee >(wc -c >&2) | sha256sum"], capture_output=True,
                                  check=True)
        self.assertEqual(expected.stderr, b"300000000\n")
        key = self.key("key.pem")
        for there, back in ((f"torvane sign --key {key}", f"torvane verify --key {key}"),
                            (f"torvane encrypt --key {key}", f"torvane decrypt --key {key}")):
            done = subprocess.run(["bash", "-c", f"{source} | {there} | {back} | sha256sum; echo ${{PIPESTATUS[@]:1}}"],
                                  capture_output=True, env=ENVIRONMENT, timeout=280)
            self.assertEqual((done.stdout, done.stderr), (expected.stdout + b"0 0 0\n", b""), there)


if __name__ == "__main__":
    unittest.main()
