"""A studio's web server: over TLS, each user with a token of the Master and with what that lets him do."""

import http.client
import json
import pathlib
import re
import shutil
import signal
import ssl
import subprocess
import unittest

from farm import BIN, PATIENCE, wait_until
from users_test import TlsMaster

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Studio(TlsMaster):
    def setUp(self):
        super().setUp()
        self.anna = self.make_token("anna", "admin")[1]
        self.bos_number, self.bo = self.make_token("bo", "watch")
        self.webs_own = self.make_token("web", "watch")[1]
        self.use(self.anna)
        self.start_master("--options", self.options, "--slots", "0")
        self.job = self.submit("true", "--range", "1-5", "--format", f"{self.folder}/f.%04d.raw", "--name", "tower")
        self.start_web()

    def start_web(self):
        servers_own = self.folder / "web.token"
        servers_own.touch(mode=0o600)
        servers_own.write_text(self.webs_own)
        options = self.folder / "config" / "CorvanWeb" / "CorvanWeb.ini"
        options.parent.mkdir(parents=True)
        options.write_text(f"[Master]\nCertificate = {self.tls}/authority.pem\n")
        self.run_web(
            [BIN / "corvan-web", "--listen", "127.0.0.1:0", "--token-file", servers_own]
            + ["--certificate", self.tls / "certificate.pem", "--key", self.tls / "key.pem"]
        )

    def run_web(self, command):
        self.web = subprocess.Popen(command, env=self.env, stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.web.stdout.close)
        self.addCleanup(self.web.wait)
        self.addCleanup(self.web.kill)
        said = self.web.stdout.readline()
        self.place = re.search(r"listening on https://(\S+)", said).group(1)
        wait_until(lambda: self.ask("/healthz", self.anna)[0] == 200)
        wait_until(lambda: self.ask("/api/jobs", self.anna)[1].get("total") == 1)

    def ask(self, path, token=None, body=None, **headers):
        """Gives the status, the answer and its head; the answer is empty where it is no JSON."""
        context = ssl.create_default_context(cafile=self.tls / "authority.pem")
        connection = http.client.HTTPSConnection(self.place, timeout=PATIENCE, context=context)
        try:
            head = {name.replace("_", "-"): value for name, value in headers.items()}
            if token:
                head["Authorization"] = f"Bearer {token}"
            if body is not None:
                head["Content-Type"] = "application/json"
            text = None if body is None else json.dumps(body)
            connection.request("GET" if body is None else "POST", path, text, head)
            answer = connection.getresponse()
            read = answer.read()
            is_json = answer.getheader("Content-Type") == "application/json" and read
            return answer.status, json.loads(read) if is_json else {}, dict(answer.getheaders())
        finally:
            connection.close()

    def set(self, token, **values):
        return self.ask(f"/api/jobs/{self.job}/parameters", token, values)[:2]

    def test_each_user_may_do_what_the_master_lets_him(self):
        self.assertEqual(self.ask("/api/jobs")[0], 401)
        self.assertEqual(self.ask("/api/jobs", "0" * 64)[0], 401)
        session = self.ask("/api/session", self.bo)[1]
        self.assertEqual((session["user"], session["isPersonal"]), ("bo", False))
        self.assertEqual(self.ask(f"/api/jobs/{self.job}", self.bo)[1]["name"], "tower")

        status, answer = self.set(self.bo, Priority="60")
        self.assertEqual(status, 403)
        self.assertIn('is missing: user bo has the role "watch"', answer["error"])
        status, answer = self.set(self.anna, Priority="60")
        self.assertEqual((status, answer.get("priority")), (200, 60))
        self.assertEqual(self.parameter(self.job, "Priority"), "60")
        said = [(line["user"], "refused" in line) for line in self.audit() if line.get("name") == "Priority"]
        self.assertEqual(said, [("anna", False)])
        self.assertIn(("bo", True), [(line["user"], "refused" in line) for line in self.audit()])

    def test_a_page_signs_in_with_a_token_and_goes_on_with_a_cookie(self):
        origin = f"https://{self.place}"
        self.assertEqual(self.ask("/api/session", None, {"token": "0" * 64}, Origin=origin)[0], 401)
        status, _, head = self.ask("/api/session", None, {"token": self.anna}, Origin=origin)
        self.assertEqual(status, 204)
        cookie, *said = head["Set-Cookie"].split("; ")
        self.assertTrue({"HttpOnly", "Secure", "SameSite=Strict"} <= set(said), said)
        self.assertNotIn(self.anna, cookie)
        self.assertEqual(self.ask("/api/session", Cookie=cookie)[1]["user"], "anna")
        self.assertEqual(self.ask("/api/session/end", None, {}, Cookie=cookie, Origin=origin)[0], 204)
        self.assertEqual(self.ask("/api/session", Cookie=cookie)[0], 401)

    def test_a_renewed_certificate_is_taken_and_a_broken_one_is_not(self):
        def shown():
            return ssl.get_server_certificate(tuple(self.place.split(":")))

        first = shown()
        self.run_master("init-tls", self.tls, "localhost", "127.0.0.1")
        renewed = (self.tls / "certificate.pem").read_text().strip()
        self.assertNotEqual(renewed, first.strip())
        self.web.send_signal(signal.SIGHUP)
        wait_until(lambda: shown().strip() == renewed)
        self.assertEqual(self.ask("/api/jobs", self.anna)[0], 200)

        (self.tls / "certificate.pem").write_text(renewed[:100])
        self.web.send_signal(signal.SIGHUP)
        log = self.folder / "state" / "CorvanWeb" / "CorvanWeb.log"
        wait_until(lambda: "the one before is used on" in log.read_text())
        self.assertRegex(log.read_text(), r"cannot use certificate \S+certificate.pem with key \S+key.pem: ")
        self.assertEqual(shown().strip(), renewed)

    def test_the_command_of_its_unit_starts_it(self):
        unit = (ROOT / "packaging" / "debian" / "corvan-web.service").read_text().replace("\\\n", " ")
        [command] = re.findall(r"^ExecStart=(.*)", unit, re.M)
        shutil.copy(self.folder / "web.token", self.tls / "token")
        for was, is_here in (
            ("/usr/bin", str(BIN)), ("/etc/corvan-web", str(self.tls)), ("/var/log/corvan-web", str(self.folder)),
            ("${LISTEN}", "127.0.0.1:0"), ("${MASTER}", self.env["CORVAN_MASTER"]), ("$OPTIONS", "--host-name web.example"),
        ):
            self.assertIn(was, command)
            command = command.replace(was, is_here)
        self.run_web(command.split())
        self.assertEqual(self.ask("/api/session", self.bo, Host="web.example:" + self.place.split(":")[1])[0], 200)
        self.web.send_signal(signal.SIGHUP)
        wait_until(lambda: "was read anew" in (self.folder / "corvan-web.log").read_text())

    def test_a_token_that_the_master_removes_opens_nothing_any_more(self):
        self.assertEqual(self.ask("/api/jobs", self.bo)[0], 200)
        self.run_master("token", "remove", self.bos_number)
        wait_until(lambda: self.ask("/api/jobs", self.bo)[0] == 401)
        self.assertEqual(self.ask("/api/jobs", self.anna)[0], 200)


if __name__ == "__main__":
    unittest.main()
