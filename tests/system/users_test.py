"""Users of a Master beyond the machine and of its socket file, as an administrator gives them."""

import json
import os
import pathlib
import pwd
import shutil
import signal
import subprocess
import unittest

from farm import BIN, PATIENCE, SHARE, FarmTest, free_address, wait_until

NOBODY = 65534


class Administrator(FarmTest):
    """What is done with corvan-master before, and while, a Master runs on the folder."""

    def run_master(self, *arguments, status=0):
        done = subprocess.run(
            [BIN / "corvan-master", *arguments, "--data", self.folder / "store"],
            env=self.env, capture_output=True, text=True, timeout=PATIENCE, check=False,
        )
        self.assertEqual(done.returncode, status, done)
        return done

    def audit(self):
        lines = (self.folder / "store" / "audit.log").read_text().splitlines()
        return [json.loads(line) for line in lines]


class TlsMaster(Administrator):
    """A Master beyond the machine, with a certificate and tokens."""

    def setUp(self):
        super().setUp()
        self.env["CORVAN_MASTER"] = free_address()
        self.tls = self.folder / "tls"
        self.run_master("init-tls", self.tls, "localhost", "127.0.0.1")
        self.options = self.folder / "master.ini"
        self.options.write_text(
            f"[Master]\nCertificate = {self.tls}/certificate.pem\nKey = {self.tls}/key.pem\n"
        )

    def token(self, user, role):
        """Makes a token that `corvan` is then used with. Gives its identifier."""
        number, token = self.make_token(user, role)
        self.use(token)
        return number

    def make_token(self, user, role):
        """Its identifier, and the token."""
        done = self.run_master("token", "add", user, role)
        return done.stderr.split()[2], done.stdout.strip()

    def use(self, token):
        file = self.folder / "token"
        file.touch(mode=0o600)
        file.write_text(token)
        options = self.folder / "config" / "Corvan" / "Corvan.ini"
        options.parent.mkdir(parents=True, exist_ok=True)
        options.write_text(
            f"[Master]\nCertificate = {self.tls}/authority.pem\nTokenFile = {file}\n"
        )


class OverTls(TlsMaster):
    def test_a_token_says_who_one_is_and_what_one_may(self):
        self.token("anna", "submit")
        self.start_master("--options", self.options, "--slots", "0")
        job = self.submit("true", "--range", "1", "--name", "tower")
        self.assertEqual(self.parameter(job, "Owner"), "anna")
        self.assertRegex(self.corvan("list"), r"OWNER +NAME\n.* anna +tower\n")
        refused = self.run_corvan("cancel", job, status=1).stderr
        self.assertIn('the right "edit-own" is missing: user anna has the role "submit"', refused)

        listed = self.run_master("token", "list").stdout
        self.assertRegex(listed, r"(?m)^[0-9a-f]{8}  submit    20\S+  anna$")
        whats = [(line["user"], line["what"], "refused" in line) for line in self.audit()]
        self.assertEqual(whats, [("anna", "Job", False), ("anna", "JobParameter", True)])

    def test_a_removed_token_ends_what_came_in_by_it(self):
        first = self.token("anna", "admin")
        self.start_master("--options", self.options, "--slots", "0")
        job = self.submit("true", "--range", "1")
        waiting = self.start_corvan("wait", job)
        wait_until(lambda: self.master_log().count(" is Corvan") >= 3)
        self.run_master("token", "remove", first)
        done = self.run_corvan("list", status=3)
        # Whichever the Master notices first: the call, or the change.
        self.assertRegex(done.stderr, "the token (was removed|is not the Master's)")
        self.assertEqual(waiting.stderr.readline(), "connection lost; waiting for the Master\n")
        # It goes on: somebody may give the token back, or the Master may have lost its tokens.
        self.assertEqual(
            waiting.stderr.readline(),
            "no connection to the Master: the token is not the Master's; waiting goes on\n",
        )
        wait_until(lambda: "the token was removed" in self.master_log())

        again = self.run_master("token", "remove", first, status=1).stderr
        self.assertIn(f"there is no token {first} in ", again)

    def test_a_renewed_certificate_is_taken_and_no_client_lost(self):
        self.token("anna", "admin")
        self.start_master("--options", self.options, "--slots", "0")
        job = self.submit("true", "--range", "1")
        waiting = self.start_corvan("wait", job)
        wait_until(lambda: self.master_log().count(" is Corvan") >= 3)
        before = (self.tls / "certificate.pem").read_text()
        self.run_master("init-tls", self.tls, "localhost")
        self.assertNotEqual((self.tls / "certificate.pem").read_text(), before)
        self.master.send_signal(signal.SIGHUP)
        served = lambda: subprocess.run(
            ["openssl", "s_client", "-connect", self.env["CORVAN_MASTER"], "-alpn", "h2"],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE, check=False, errors="replace",
        ).stdout
        renewed = "".join((self.tls / "certificate.pem").read_text().split())
        wait_until(lambda: renewed in "".join(served().split()))
        self.corvan("cancel", job)
        waiting.communicate(timeout=PATIENCE)
        self.assertNotEqual(waiting.returncode, 3, "it was there all the time")

        (self.tls / "key.pem").chmod(0o644)
        self.master.send_signal(signal.SIGHUP)
        wait_until(lambda: "it is open to others than its owner" in self.master_log())
        self.corvan("list")
        self.stop_master()
        done = self.run_master(
            "--listen", self.env["CORVAN_MASTER"], "--options", self.options, status=1
        )
        self.assertIn("key.pem: it is open to others than its owner (chmod 600)", done.stderr)

    def test_without_a_token_nobody_is_listened_to(self):
        done = self.run_master(
            "--listen", self.env["CORVAN_MASTER"], "--options", self.options, status=1
        )
        self.assertIn("without a token; make one with \"corvan-master token add\"", done.stderr)


class Commands(Administrator):
    def test_name_what_they_do_not_understand(self):
        for arguments, told in [
            (["token"], "usage: corvan-master token add USER ROLE | list | remove ID"),
            (["token", "add", "anna"], "usage: corvan-master token add"),
            (["token", "add", "anna", "king"], "the role has to be watch, submit, edit-own,"),
            (["token", "add", "an na", "watch"], "a user's name is 1 to 64"),
            (["token", "list", "x"], "usage: corvan-master token add"),
            (["init-tls", "x"], "usage: corvan-master init-tls DIR HOST..."),
            (["nothing"], "unexpected argument nothing"),
        ]:
            self.assertIn(told, self.run_master(*arguments, status=2).stderr)
        self.assertFalse((self.folder / "store" / "tokens.json").exists())

    @unittest.skipUnless(os.geteuid() == 0, "only root makes files for somebody else")
    def test_used_by_root_leave_their_files_to_the_owner_of_the_folder(self):
        for name in ("store", "tls"):
            (self.folder / name).mkdir()
            os.chown(self.folder / name, NOBODY, NOBODY)
        self.run_master("token", "add", "anna", "watch")
        self.run_master("init-tls", self.folder / "tls", "localhost")
        for name in ("store", "tls"):
            for file in (self.folder / name).iterdir():
                self.assertEqual(file.stat().st_uid, NOBODY, file)
        self.assertEqual(len(list((self.folder / "store").iterdir())), 1)


class StoreCommands(Administrator):
    """corvan-master store, beside a Master that runs where that makes sense."""

    def setUp(self):
        super().setUp()
        self.store = self.folder / "store" / "jobs.db"
        self.copy = self.folder / "copy.db"

    def jobs(self):
        return {job["id"] for job in json.loads(self.corvan("list", "--json"))}

    def test_check_and_copy_while_the_master_works(self):
        self.start_master("--slots", "0")
        first = self.submit("true", "--range", "1")
        self.assertEqual(self.run_master("store", "check").stdout, f"{self.store} is whole\n")
        done = self.run_master("store", "backup", self.copy)
        self.assertEqual(done.stdout, f"{self.copy} is a copy of {self.store}\n")
        second = self.submit("true", "--range", "1")
        done = self.run_master("store", "backup", self.copy, status=1)
        self.assertIn(str(self.copy), done.stderr)
        done = self.run_master("store", "restore", self.copy, status=1)
        self.assertIn(f"another Master uses data folder {self.store.parent}", done.stderr)
        self.assertEqual(self.jobs(), {first, second})

        self.stop_master()
        done = self.run_master("store", "restore", self.copy)
        told = f"{self.store} is a copy of {self.copy}; what was there is kept as "
        self.assertTrue(done.stdout.startswith(told), done.stdout)
        self.assertTrue(pathlib.Path(done.stdout[len(told):].strip()).exists())
        self.start_master("--slots", "0")
        self.assertEqual(self.jobs(), {first})

    def test_tell_of_damage_and_how_to_go_on(self):
        self.start_master("--slots", "0")
        job = self.submit("true", "--range", "1", "--set", "Note=" + 20000 * "n")
        self.run_master("store", "backup", self.copy)
        self.stop_master()
        with open(self.store, "r+b") as file:
            for page in range(2, os.path.getsize(self.store) // 4096):
                file.seek(page * 4096)
                file.write(64 * b"\xee")
        self.assertIn(f"{self.store} is damaged\n", self.run_master("store", "check", status=1).stdout)
        done = self.run_master("--listen", self.env["CORVAN_MASTER"], status=1)
        advice = f"corvan-master store restore BACKUP --data {self.store.parent}"
        self.assertIn(advice, done.stderr)
        self.run_master("store", "restore", self.copy)
        self.start_master("--slots", "0")
        self.assertEqual(self.jobs(), {job})

    def test_name_what_they_do_not_understand(self):
        usage = "corvan-master store wants one of: check, backup FILE, restore FILE"
        for arguments, told in [
            ([], usage), (["heal"], usage), (["check", "x"], usage), (["backup"], usage),
            (["restore", "a", "b"], usage),
            (["check", "--slots", "2"], "--slots has no meaning for the store"),
        ]:
            self.assertIn(told, self.run_master("store", *arguments, status=2).stderr)
        self.assertIn("cannot read", self.run_master("store", "check", status=1).stderr)
        self.assertFalse(self.store.exists())


@unittest.skipUnless(os.geteuid() == 0, "only root can be somebody else")
class OtherUsers(Administrator):
    """Of the machine, on a socket file."""

    def setUp(self):
        super().setUp()
        self.folder.chmod(0o755)
        self.options = self.folder / "master.ini"
        self.other = self.folder / "other"
        self.other.mkdir()
        os.chown(self.other, NOBODY, NOBODY)
        self.copy = self.copy_program()

    def as_other(self, *arguments):
        env = dict(self.env, HOME=str(self.other))
        for name in ("CONFIG", "STATE", "DATA", "CACHE"):
            env[f"XDG_{name}_HOME"] = str(self.other)
        return subprocess.run(
            [self.copy, *arguments], env=env, cwd=self.other, user=NOBODY, group=NOBODY,
            extra_groups=[], stdin=subprocess.DEVNULL, capture_output=True, text=True,
            timeout=PATIENCE, check=False,
        )

    def copy_program(self):
        """Who cannot go where the programs are built is given copies."""
        copy = self.folder / "corvan"
        copy.write_bytes((BIN / "corvan").read_bytes())
        copy.chmod(0o755)
        share = pathlib.Path(__file__).resolve().parents[2] / "share"
        subprocess.run(["cp", "-r", share, self.folder / "share"], check=True)
        subprocess.run(["chmod", "-R", "a+rX", self.folder / "share"], check=True)
        self.env["ORDWICK_SHARE"] = str(self.folder / "share")
        return copy

    def test_have_the_role_that_the_options_give(self):
        self.options.write_text("[Master]\nSocketRole = edit-own\n")
        self.start_master("--options", self.options, "--slots", "0")
        roots = self.submit("true", "--range", "1")
        done = self.as_other("submit", "Command", "--range", "1", "--set", "Program=true")
        self.assertEqual(done.returncode, 0, done.stderr)
        own = done.stdout.strip()
        self.assertEqual(self.parameter(own, "Owner"), "nobody")
        self.assertEqual(self.as_other("cancel", own).returncode, 0)
        refused = self.as_other("cancel", roots)
        self.assertEqual(refused.returncode, 1)
        self.assertIn('the right "edit-all" is missing: user nobody', refused.stderr)
        self.corvan("set", own, "Note=root may")

    def test_have_none_where_the_options_give_none(self):
        self.start_master("--slots", "0")
        # As if somebody had opened it.
        (self.folder / "master.sock").chmod(0o666)
        done = self.as_other("list")
        self.assertEqual(done.returncode, 3)
        self.assertIn("user nobody has no role here", done.stderr)

    def test_of_a_role_that_is_none_the_master_says_so(self):
        self.options.write_text("[Master]\nSocketRole = king\n")
        done = self.run_master("--options", self.options, status=2)
        self.assertIn("SocketRole = king", done.stderr)
        self.assertIn("it has to be watch, submit", done.stderr)


@unittest.skipUnless(os.geteuid() == 0, "only root can be somebody else")
class OtherUsersCommands(Administrator):
    """Commands that run as a user of their own, beside a Master that runs as root."""

    def setUp(self):
        super().setUp()
        self.folder.chmod(0o755)
        self.run_master("token", "add", "anna", "admin")
        self.run_master("init-tls", self.folder / "tls", "localhost")
        self.frames = self.folder / "frames"
        self.frames.mkdir()
        self.user = pwd.getpwnam("daemon")
        os.chown(self.frames, self.user.pw_uid, self.user.pw_gid)
        self.options = self.folder / "master.ini"

    def secrets(self):
        """Whoever has one of these has the farm."""
        store = self.folder / "store"
        return [store, store / "jobs.db", store / "tokens.json", store / "audit.log",
                store / "tasks", self.folder / "tls" / "key.pem",
                self.folder / "tls" / "authority-key.pem", f"/proc/{self.master.pid}/environ",
                f"/proc/{self.master.pid}/mem", f"/proc/{self.master.pid}/fd"]

    def reached(self):
        """Which of them a job's process reaches, as its log tells."""
        looks = "; ".join(
            f"if [ -d '{one}' ]; then ls '{one}'; else head -c 1 '{one}'; fi > /dev/null 2>&1 "
            f"&& echo 'reached {one}'"
            for one in map(str, self.secrets())
        )
        script = f"id -un; {looks}; rm -f \"$2\"; echo frame > \"$2\""
        job = self.submit(script, "--range", "1", "--format", f"{self.frames}/new/%d.x")
        self.assertEqual(self.corvan("wait", job), "Done\n", self.corvan("log", job))
        self.assertEqual((self.frames / "new" / "1.x").read_text(), "frame\n")
        return self.corvan("log", job)

    def test_reach_neither_store_nor_tokens_nor_keys(self):
        self.options.write_text("[Master]\nRunAs = daemon\n")
        self.start_master("--options", self.options)
        self.assertIn("\ndaemon\n", "\n" + self.reached())
        self.assertNotIn("reached", self.reached())
        self.assertEqual((self.frames / "new" / "1.x").stat().st_uid, self.user.pw_uid)
        wait_until(lambda: "commands run as user daemon" in self.master_log())

    def test_reach_all_of_it_as_the_masters_user(self):
        """So what is not reached above is not reached for that reason."""
        self.start_master()
        log = self.reached()
        self.assertIn("\nroot\n", "\n" + log)
        for one in self.secrets():
            # Its first page is nobody's.
            if not str(one).endswith("/mem"):
                self.assertIn(f"reached {one}\n", log)

    def test_are_refused_where_that_could_not_be_held(self):
        store = self.folder / "store"
        for name, told in [
            ("no-such-user", "there is no such user"),
            ("root", "root may do everything, and commands may not"),
        ]:
            self.options.write_text(f"[Master]\nRunAs = {name}\n")
            done = self.run_master("--options", self.options, status=2)
            self.assertIn(f"RunAs = {name}", done.stderr)
            self.assertIn(told, done.stderr)
        self.options.write_text("[Master]\nRunAs = daemon\n")
        store.chmod(0o755)
        done = self.run_master("--options", self.options, status=2)
        self.assertIn(f"data folder {store} is open to others than its owner", done.stderr)

    def install_for(self, user):
        """Programs and data that this user may reach, and folders of its own. Gives the environment
        that it has."""
        home = self.folder / "home"
        for part in ("bin/corvan-master", "libexec/ordwick/corvan-task"):
            (home / part).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(BIN.parent / part, home / part)
        shutil.copytree(SHARE, home / "share" / "ordwick")
        subprocess.run(["chmod", "-R", "a+rX", home], check=True)
        (home / "runtime").mkdir(mode=0o700)
        subprocess.run(["chown", "-R", f"{user}:{user}", home], check=True)
        folders = {f"XDG_{name}_HOME": str(home) for name in ("CONFIG", "STATE", "DATA", "CACHE")}
        return dict(self.env, HOME=str(home), XDG_RUNTIME_DIR=str(home / "runtime"), **folders)

    def test_need_no_root_where_the_master_has_the_capabilities(self):
        """As the service's page has it."""
        env = self.install_for(NOBODY)
        home = self.folder / "home"
        self.options.write_text("[Master]\nRunAs = daemon\n")
        self.env["CORVAN_MASTER"] = f"unix:{home}/m.sock"
        capabilities = "-all,+setuid,+setgid,+kill,+sys_ptrace"
        command = [
            "setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups",
            f"--inh-caps={capabilities}", f"--ambient-caps={capabilities}",
            f"--bounding-set={capabilities}", "--no-new-privs",
            home / "bin" / "corvan-master", "--data", home / "data", "--options", self.options,
            "--listen", self.env["CORVAN_MASTER"],
        ]

        def start():
            log = open(self.folder / "master.txt", "ab")
            self.addCleanup(log.close)
            self.master = subprocess.Popen(command, env=env, stdout=log, stderr=log)
            self.addCleanup(self.stop_master)
            wait_until((home / "m.sock").exists, self.master)
            self.corvan("list")

        start()
        script = (
            f"cd {self.frames}; id -un; cat {home}/data/jobs.db; grep CapEff /proc/self/status; "
            "setsid env -i sh -c 'echo $$ > pid.new; mv pid.new pid; exec sleep 1000' & "
            "while [ ! -e go ]; do sleep 0.01; done"
        )
        job = self.submit(script, "--range", "1")
        pid = self.frames / "pid"
        wait_until(pid.exists)
        first = int(pid.read_text())
        pid.unlink()
        self.stop_master(signal.SIGKILL)
        (home / "m.sock").unlink()
        start()
        wait_until(pid.exists)
        self.assertFalse(os.path.exists(f"/proc/{first}"), "beside its successor")
        (self.frames / "go").touch()
        self.assertEqual(self.corvan("wait", job), "Done\n")
        self.assertFalse(os.path.exists(f"/proc/{int(pid.read_text())}"))
        log = self.corvan("log", job)
        self.assertIn("\ndaemon\n", "\n" + log)
        self.assertIn("jobs.db: Permission denied\n", log)
        self.assertIn("CapEff:\t0000000000000000\n", log)

    def test_are_refused_where_the_master_may_not_be_somebody_else(self):
        self.options.write_text("[Master]\nRunAs = daemon\n")
        env = self.install_for(NOBODY)
        home = self.folder / "home"
        done = subprocess.run(
            [home / "bin" / "corvan-master", "--data", home / "data", "--listen", f"unix:{home}/m.sock",
             "--options", self.options],
            env=env, cwd=home, user=NOBODY, group=NOBODY, extra_groups=[],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE, check=False,
        )
        self.assertEqual(done.returncode, 2, done)
        self.assertIn("it has to be root, or to have CAP_SETUID", done.stderr)


if __name__ == "__main__":
    unittest.main()
