"""Where output goes: links, devices and pipes, the modes of files, and what is left after a failure."""
import json
import os
import resource
import stat
import subprocess
import threading
import unittest

from jwcrypto.jwk import JWK

from running import ENVIRONMENT, TORVANE, CommandTest


def limit_files():
    resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))


class Outputs(CommandTest):
    def setUp(self):
        super().setUp()
        self.addCleanup(os.umask, os.umask(0o022))
        keys = [{**JWK.generate(kty="EC", crv="P-256").export_public(as_dict=True), "kid": f"key {number}"}
                for number in range(9)]
        self.content = {"keys": keys}
        self.path("set", json.dumps(self.content))
        os.mkdir(self.path("folder"))

    def read(self, name):
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def mode(self, name):
        return stat.S_IMODE(os.stat(self.path(name)).st_mode)

    # A link, where it leads to, and the file at its end.
    LINKS = (("link", "target", "target"), ("link", "folder/target", "folder/target"),
             ("folder/link", "../target", "target"), ("link", "folder/next", "target"),
             ("folder/../link", "./folder/../target", "target"))

    def test_a_link_leads_to_a_file_that_is_replaced_at_once_or_not_at_all(self):
        os.symlink("../target", self.path("folder/next"))
        for link, leads_to, target in (*self.LINKS, ("link", self.path("folder/target"), "folder/target")):
            with self.subTest(link=link, leads_to=leads_to):
                os.symlink(leads_to, self.path(link))
                os.chmod(self.path(target, "before" * 1000), 0o640)
                listing = sorted(os.listdir(self.folder)), sorted(os.listdir(self.path("folder")))
                done = subprocess.run([TORVANE, "jwks", "select", "set", "-o", link], cwd=self.folder, env=ENVIRONMENT,
                                      capture_output=True, timeout=60, preexec_fn=limit_files)
                self.assertEqual((done.returncode, done.stdout, done.stderr.decode()),
                                 (3, b"", f'torvane: Cannot write "{link}": File too large.\n'))
                self.assertEqual(self.read(target), "before" * 1000)
                with open(self.path(target), encoding="ascii") as old:
                    self.succeed("jwks", "select", "set", "-o", link)
                    self.assertEqual(old.read(), "before" * 1000)
                self.assertEqual((json.loads(self.read(target)), self.mode(target)), (self.content, 0o640))
                self.assertEqual((sorted(os.listdir(self.folder)), sorted(os.listdir(self.path("folder")))), listing)
                self.assertEqual(os.readlink(self.path(link)), leads_to)
                os.remove(self.path(link))
                os.remove(self.path(target))

    def test_a_link_to_no_file_makes_the_whole_file_or_none(self):
        os.symlink("../target", self.path("folder/next"))
        for link, leads_to, target in self.LINKS:
            with self.subTest(link=link, leads_to=leads_to):
                os.symlink(leads_to, self.path(link))
                listing = sorted(os.listdir(self.folder)), sorted(os.listdir(self.path("folder")))
                done = subprocess.run([TORVANE, "jwks", "select", "set", "-o", link], cwd=self.folder, env=ENVIRONMENT,
                                      capture_output=True, timeout=60, preexec_fn=limit_files)
                self.assertEqual((done.returncode, done.stderr.decode()),
                                 (3, f'torvane: Cannot write "{link}": File too large.\n'))
                self.assertEqual((sorted(os.listdir(self.folder)), sorted(os.listdir(self.path("folder")))), listing)
                self.succeed("jwks", "select", "set", "-o", link)
                self.assertEqual(json.loads(self.read(target)), self.content)
                self.assertEqual(os.readlink(self.path(link)), leads_to)
                os.remove(self.path(link))
                os.remove(self.path(target))

    def test_devices_pipes_and_open_files_are_written_to(self):
        expected = self.text("jwks", "select", "set")
        os.symlink("/dev/stdout", self.path("link"))
        os.symlink("/dev/null", self.path("null"))
        os.mkfifo(self.path("fifo"))
        for name in ("/dev/stdout", "/dev/fd/1", "/proc/self/fd/1", "link"):
            self.assertEqual(self.text("jwks", "select", "set", "-o", name), expected)
            for deleted in (False, True):
                with open(self.path("out"), "w+", encoding="utf-8") as out:
                    if deleted:
                        os.remove(self.path("out"))
                    subprocess.run([TORVANE, "jwks", "select", "set", "-o", name], cwd=self.folder, env=ENVIRONMENT,
                                   stdout=out, check=True, timeout=60)
                    self.assertEqual(out.read(), expected, name)
            self.assertEqual(sorted(os.listdir(self.folder)), ["fifo", "folder", "link", "null", "set"])
        for name in ("/dev/null", "null"):
            self.assertEqual(self.text("jwks", "select", "set", "-o", name), "")
        received = []
        reader = threading.Thread(target=lambda: received.append(self.read("fifo")))
        reader.start()
        self.succeed("jwks", "select", "set", "-o", "fifo")
        reader.join(60)
        self.assertEqual(received, [expected])
        self.assertTrue(stat.S_ISFIFO(os.stat(self.path("fifo")).st_mode))
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))

    def test_a_link_that_leads_nowhere_is_an_error(self):
        for name, leads_to, error in (("loop", "loop", "Too many levels of symbolic links"),
                                      ("lost", "absent/file", "No such file or directory"),
                                      ("open", "folder", "Is a directory")):
            os.symlink(leads_to, self.path(name))
            self.reject(3, f'Cannot write "{name}": {error}.', "jwks", "select", "set", "-o", name)

    def test_only_the_owner_may_read_a_new_file_with_private_keys(self):
        kinds = {"kty": "EC", "crv": "P-256"}, {"kty": "RSA", "size": 2048}, {"kty": "oct", "size": 256}
        own = [{**json.loads(JWK.generate(**kind).export(private_key=True)), "kid": kind["kty"]} for kind in kinds]
        public = self.content["keys"][0]
        os.symlink("new", self.path("link"))
        for keys, mode in (([own[0], public], 0o600), ([own[1]], 0o600), ([public, own[2]], 0o600), ([public], 0o644)):
            for name in ("new", "link"):
                self.path("sets", json.dumps({"keys": [*keys, {"kty": "x", "kid": "old"}]}))
                self.assertEqual(self.run_command("jwks", "remove", "sets", "--kid", "old", "-o", name).returncode, 0)
                self.assertEqual((json.loads(self.read("new")), self.mode("new")), ({"keys": keys}, mode))
                os.remove(self.path("new"))
        # So is a key that was sent in a token; a file that was there keeps its mode.
        self.path("own", json.dumps(own[1]))
        for message, mode in ((json.dumps(own[0]).encode(), 0o600), (json.dumps(public).encode(), 0o644)):
            for there, expected in ((None, mode), (0o664, 0o664)):
                if there:
                    os.chmod(self.path("new", "x"), there)
                token = self.succeed("encrypt", "--key", "own", stdin=message)
                self.succeed("decrypt", "--key", "own", "-o", "new", stdin=token)
                self.assertEqual((self.read("new").encode(), self.mode("new")), (message, expected))
                os.remove(self.path("new"))


if __name__ == "__main__":
    unittest.main()
