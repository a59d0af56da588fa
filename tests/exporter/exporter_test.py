"""The exporter on simulated machines, with libraries and clients that mean no good."""
import base64
import concurrent.futures
import ctypes
import json
import os
import socket
import ssl
import subprocess
import tempfile
import time
import unittest

from prometheus_client.openmetrics.parser import text_string_to_metric_families

from machine import BINARIES, HOSTILE, HOSTS, OPEN_METRICS, Machine, eventually, samples, select

EVERYTHING = ("--processes", "--collect=identity,temperature,power,clock,utilization,engines,"
              "memory,pcie,pcie_throughput,processes,vgpu")
HANG = 3_600_000_000


def up(found):
    return {int(gpu): value for gpu, value in select(found, "zanthe_gpu_up").items()}


class Formats(unittest.TestCase):
    def test_every_machine_speaks_both_dialects(self):
        for host in HOSTS:
            with self.subTest(host), Machine(host, options=["--virtual-clock"]) as machine:
                plain = machine.run("zanctl-exporter", "--once", *EVERYTHING).stdout
                subprocess.run(["promtool", "check", "metrics"], input=plain, text=True, check=True)
                text = machine.run("zanctl-exporter", "--once", "--format=openmetrics",
                                   *EVERYTHING).stdout
                parsed = {}
                for family in text_string_to_metric_families(text):
                    for sample in family.samples:
                        key = (sample.name, frozenset(sample.labels.items()))
                        self.assertNotIn(key, parsed)
                        parsed[key] = sample.value
                # Processes of the two runs have other ids, and rounds take other times.
                strip = lambda found: {key: value for key, value in found.items()
                                       if "process_memory" not in key[0] and "round" not in key[0]}
                self.assertEqual(strip(parsed), strip(samples(plain)))
                self.assertGreater(len(parsed), 50)

    def test_numbers_are_those_of_the_csv_query(self):
        columns = [row.split() for row in """
            memory.total 1048576 memory_total_bytes, memory.used 1048576 memory_used_bytes,
            temperature.gpu 1 temperature_celsius sensor=gpu,
            temperature.shutdown 1 temperature_threshold_celsius threshold=shutdown,
            temperature.slowdown 1 temperature_threshold_celsius threshold=slowdown,
            temperature.max_operating 1 temperature_threshold_celsius threshold=max_operating,
            fan.speed 0.01 fan_speed_ratio, gpu.power.draw 1 power_watts,
            gpu.power.limit 1 power_limit_watts limit=management,
            utilization.gpu 0.01 utilization_ratio engine=sm,
            utilization.memory 0.01 utilization_ratio engine=memory,
            utilization.encoder 0.01 utilization_ratio engine=encoder,
            utilization.decoder 0.01 utilization_ratio engine=decoder,
            clocks.sm 1e6 clock_hertz domain=sm, clocks.mem 1e6 clock_hertz domain=memory,
            clocks.max.sm 1e6 clock_max_hertz domain=sm,
            clocks.max.mem 1e6 clock_max_hertz domain=memory, pstate 1 performance_state,
            ecc.mode.current 1 ecc_enabled, retired_pages.sbe 1 retired_pages cause=single_bit,
            retired_pages.dbe 1 retired_pages cause=double_bit,
            pcie.link.gen.current 1 pcie_link_generation,
            pcie.link.gen.max 1 pcie_link_generation_max,
            pcie.link.width.current 1 pcie_link_width_lanes,
            pcie.link.width.max 1 pcie_link_width_max_lanes,
            pcie.tx.throughput 1000 pcie_throughput_bytes_per_second direction=transmit,
            pcie.rx.throughput 1000 pcie_throughput_bytes_per_second direction=receive
            """.split(",")]
        texts = {"name": "name", "serial": "serial", "part_number": "part_number",
                 "pci.bus_id": "pci_bus_id", "minor_number": "minor_number", "board_id": "board_id",
                 "gpu_position": "board_position", "uuid": "uuid"}
        words = {"Enabled": "1", "Disabled": "0"}
        # No state is beyond 15, and no text is known that has no end.
        unknown = ("[N/A]", str(2**32 - 1), "99", "Z" * 64)
        for host in ("eight-gpu", "failing-host", "vgpu-host"):
            with self.subTest(host), Machine(host, options=["--virtual-clock"]) as machine:
                found = samples(machine.run("zanctl-exporter", "--once", *EVERYTHING).stdout)
                properties = [column[0] for column in columns] + list(texts)
                query = machine.run("zanctl", f"--query-gpu={','.join(properties)}",
                                    "--format=csv,noheader,nounits").stdout.splitlines()
                identities = {dict(pairs)["gpu"]: dict(pairs) for name, pairs in found
                              if name == "zanthe_gpu_info"}
                for gpu, line in enumerate(query):
                    row = line.split(", ")
                    for text, (name, factor, metric, *label) in zip(row, columns):
                        labels = dict(pair.split("=") for pair in label)
                        value = select(found, f"zanthe_gpu_{metric}", **labels).get(str(gpu))
                        number = words.get(text, text.removeprefix("P"))
                        if number in unknown:
                            self.assertIsNone(value, name)
                        else:
                            # The query rounds bytes down to MiB.
                            self.assertAlmostEqual(value / float(factor), int(number), msg=name,
                                                   delta=1 if metric.startswith("memory") else 1e-9)
                    for text, label in zip(row[len(columns):], texts.values()):
                        self.assertEqual(identities.get(str(gpu), {}).get(label, ""),
                                         "" if text in unknown else text, label)

    def test_nothing_is_asked_that_is_not_shown(self):
        with Machine("one-gpu") as machine:
            machine.run("zanctl-exporter", "--once", "--collect=temperature", "--no-collect=")
            calls = {line.split()[1].split("(")[0] for line in machine.trace.read_text().splitlines()}
        self.assertEqual({call for call in calls if "Device" in call}, {
            "nvmlDeviceGetCount_v2", "nvmlDeviceGetHandleByIndex_v2", "nvmlDeviceGetUUID",
            "zanmlDeviceGetResetStatus", "nvmlDeviceGetTemperature",
            "zanmlDeviceGetBoardTemperature", "nvmlDeviceGetTemperatureThreshold",
            "nvmlDeviceGetFanSpeed"})


class Textfile(unittest.TestCase):
    def test_is_replaced_as_a_whole_or_not_at_all(self):
        with Machine("one-gpu") as machine:
            path = machine.directory / "out" / "zanthe.prom"
            missing = machine.run("zanctl-exporter", f"--textfile={path}")
            self.assertEqual((missing.returncode, missing.stderr),
                             (1, f"zanctl-exporter: {path}: No such file or directory\n"))
            path.parent.mkdir()
            self.assertEqual(machine.run("zanctl-exporter", f"--textfile={path}").returncode, 0)
            self.assertEqual(os.stat(path).st_mode & 0o7777, 0o644)
            self.assertEqual(up(samples(path.read_text())), {0: 1})
            self.assertEqual(os.listdir(path.parent), ["zanthe.prom"])

    def test_survives_a_full_disk(self):
        script = """mount -t tmpfs -o size=8k none "$1" || exit 77
            echo old > "$1/f.prom"
            "$3/zansim" --host one-gpu --state "$2" -- "$3/zanctl-exporter" --textfile="$1/f.prom"
            echo $?; ls "$1"; cat "$1/f.prom" """
        with tempfile.TemporaryDirectory() as full, tempfile.TemporaryDirectory() as state:
            run = subprocess.run(["unshare", "-Urm", "/bin/sh", "-c", script, "sh", full, state,
                                  BINARIES], text=True, capture_output=True)
        if run.returncode == 77 or "unshare" in run.stderr:
            self.skipTest("no file system of one's own")
        self.assertEqual(run.stdout, "1\nf.prom\nold\n")
        self.assertIn("No space left on device", run.stderr)


class Server(unittest.TestCase):
    def test_answers_paths_and_methods(self):
        with Machine("one-gpu") as machine:
            exporter = machine.serve("--web.telemetry-path=/gpu")
            self.assertIn("/gpu", exporter.get("/")[1])
            statuses = {path: exporter.get(path)[0]
                        for path in ("/gpu", "/gpu?x=1", "/metrics", "/-/healthy", "/-/ready")}
            self.assertEqual(list(statuses.values()), [200, 200, 404, 200, 200])
            status, _, headers = exporter.get("/gpu", "POST")
            self.assertEqual((status, headers["Allow"]), (405, "GET, HEAD"))
            status, text, headers = exporter.get("/gpu", "HEAD")
            self.assertEqual((status, text), (200, ""))
            self.assertEqual(headers["Content-Type"], "text/plain; version=0.0.4; charset=utf-8")
            headers = exporter.get("/gpu", Accept=OPEN_METRICS)[2]
            self.assertEqual(headers["Content-Type"],
                             "application/openmetrics-text; version=1.0.0; charset=utf-8")
            self.assertEqual(exporter.get("/gpu", Filler="x" * 16_500)[0], 431)
            self.assertEqual(exporter.get("/gpu", Filler="x" * 60_000)[0], 431)
            self.assertEqual(exporter.get("/gpu", Filler="x" * 15_000)[0], 200)
            self.assertEqual(exporter.end(), 0)

    def test_scrapes_share_a_round_and_health_needs_none(self):
        slow = {"gpus": [{}], "faults": [{"operation": "nvmlDeviceGetUUID", "latency_us": 700_000}]}
        with Machine(slow) as machine:
            exporter = machine.serve()
            self.assertEqual(exporter.get("/-/ready")[0], 503)
            self.assertEqual(exporter.get("/-/healthy")[0], 200)
            self.assertEqual(up(exporter.scrape(seconds=0.2)), {0: 0}, "the least patient says when")
            self.assertEqual(exporter.get("/-/ready")[0], 200)
            with concurrent.futures.ThreadPoolExecutor(20) as pool:
                results = list(pool.map(lambda _: exporter.scrape(), range(20)))
            self.assertTrue(all(up(result) == {0: 1} for result in results))
            rounds = sum("GetUUID" in line for line in machine.trace.read_text().splitlines())
            # Besides the one that was cut short, whoever comes late needs another.
            self.assertLessEqual(rounds, 3)

    def test_refuses_to_start_in_one_line(self):
        with Machine("one-gpu") as machine, socket.create_server(("127.0.0.1", 0)) as taken:
            address = "127.0.0.1:%d" % taken.getsockname()[1]
            (machine.directory / "web.yml").write_text("tls_server_config:\n  cert_file: none\n")
            for option, words in ((f"--web.listen-address={address}", [address, "in use"]),
                                  ("--web.listen-address=9835", ["9835", "HOST:PORT"]),
                                  ("--web.systemd-socket", ["no socket"]),
                                  ("--collect=heat", ["--collect", "heat"]),
                                  ("--once=yes", ["--once"]), ("extra", ["extra"]),
                                  (f"--web.config.file={machine.directory}/web.yml",
                                   ["web.yml:2:", "none", "No such file"]),
                                  ("--web.config.file=/nonexistent", ["/nonexistent"])):
                run = machine.run("zanctl-exporter", option)
                self.assertEqual((run.returncode, run.stdout), (1, ""), option)
                self.assertEqual(run.stderr.count("\n"), 1)
                for word in words:
                    self.assertIn(word, run.stderr)

    def test_listens_for_both_families(self):
        with Machine("one-gpu") as machine:
            exporter = machine.serve("--web.listen-address=:0")
            for exporter.address in "127.0.0.1", "::1":
                self.assertEqual(exporter.get("/-/healthy")[0], 200)

    def test_endures_slow_and_broken_clients(self):
        with Machine() as machine:
            exporter = machine.serve()
            exporter.scrape()
            crowd = [exporter.connect(data) for data in
                     (b"", b"GET /metr", b"GET / HTTP/1.1\r\nA: ", b"\0\xff\r\n\r\n", b"\x16\x03\x01") * 10]
            self.assertEqual(len(up(exporter.scrape())), 8)
            request = b"GET /metrics HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"
            gone = [exporter.connect(request) for _ in range(5)]
            for connection in crowd + gone:
                connection.close()
            with concurrent.futures.ThreadPoolExecutor(200) as pool:
                statuses = set(pool.map(lambda _: exporter.get()[0], range(200)))
            self.assertEqual(statuses, {200})
            with exporter.connect(b"GET / HTTP/1.1\r\nA: " + b"x" * 200_000) as endless:
                self.assertIn(b"431", endless.recv(100))
            for method, status in ((b"GET", b"200"), (b"POST", b"405")):
                with exporter.connect(method + b" /metrics HTTP/1.1\r\nContent-Length: 9\r\n\r\nx") as half:
                    self.assertIn(status, half.recv(100))
            crowd = [socket.create_connection((exporter.address, exporter.port)) for _ in range(150)]
            self.assertLessEqual(exporter.sockets(), 64 + 8)
            start = time.monotonic()
            exporter.scrape()
            self.assertLess(time.monotonic() - start, 20, "who only waits gives way")
            for connection in crowd:
                connection.close()

    def test_ends_at_once_and_leaves_no_child(self):
        hanging = {"gpus": [{}, {}],
                   "faults": [{"operation": "nvmlDeviceGetUUID", "gpu": 1, "latency_us": HANG}]}
        with Machine(hanging) as machine:
            exporter = machine.serve()
            client = exporter.connect(b"GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n")
            children = eventually(exporter.children)
            start = time.monotonic()
            self.assertEqual(exporter.end(), 0)
            self.assertLess(time.monotonic() - start, 3)
            with client:
                self.assertEqual(client.recv(100), b"")
            self.assertFalse([pid for pid in children if os.path.exists(f"/proc/{pid}")])

    @unittest.skipIf("ZANCTL_SANITIZED" in os.environ, "sanitizers hold freed memory back")
    def test_stays_small(self):
        with Machine() as machine:
            exporter = machine.serve()
            for _ in range(50):
                exporter.scrape()
            before = exporter.memory()
            for _ in range(300):
                exporter.get(Accept=OPEN_METRICS)
            self.assertLess(exporter.memory() - before, 300_000)
            self.assertLess(exporter.memory(), 20_000_000)


class Library(unittest.TestCase):
    def test_a_hung_gpu_costs_one_slow_scrape(self):
        host = {"gpus": [{"count": 3}]}
        with Machine(host) as machine:
            exporter = machine.serve()
            self.assertEqual(up(exporter.scrape()), {0: 1, 1: 1, 2: 1})
            time.sleep(1)
            machine.describe(host | {"faults": [
                {"operation": "nvmlDeviceGetPowerUsage", "gpu": 1, "latency_us": HANG}]})
            found = exporter.scrape()
            self.assertEqual(up(found), {0: 1, 1: 0, 2: 1})
            self.assertNotIn("1", select(found, "zanthe_gpu_power_watts"))
            found = exporter.scrape()
            self.assertEqual(up(found), {0: 1, 1: 0, 2: 1})
            self.assertLess(found["zanctl_exporter_round_duration_seconds", frozenset()], 3)
            self.assertEqual(found["zanctl_exporter_round_timeouts_total", frozenset()], 1)
            self.assertEqual(found["zanctl_exporter_collector_restarts_total", frozenset()], 1)

    def test_a_lost_gpu_keeps_its_uuid_and_is_found_again(self):
        host = {"gpus": [{"count": 3}]}
        with Machine(host) as machine:
            exporter = machine.serve()
            before = {key for key in exporter.scrape() if key[0] == "zanthe_gpu_up"}
            machine.describe(host | {"lost": [{"gpu": 1}]})
            found = eventually(lambda: (s := exporter.scrape()) and up(s)[1] == 0 and s)
            self.assertEqual({key for key in found if key[0] == "zanthe_gpu_up"}, before)
            machine.describe(host)
            eventually(lambda: up(exporter.scrape())[1] == 1)

    def test_a_library_that_crashes_hangs_and_lies(self):
        with Machine(hostile=True) as machine:
            exporter = machine.serve()
            self.assertEqual(up(exporter.scrape()), {0: 1, 1: 1, 2: 1})
            for more in "", ",unterminated":
                machine.be(f"values=ones,count=0xffffffff{more}", b"*\xff\n\"\\\x01\xe2\x80")
                text = exporter.get(Accept=OPEN_METRICS)[1]
                names = {family.name for family in text_string_to_metric_families(text)}
                self.assertEqual({name for name in names if name.startswith("zanthe_")},
                                 {"zanthe_gpus", "zanthe_driver", "zanthe_reset_in_progress",
                                  "zanthe_gpu_up", "zanthe_gpu"})
            self.assertIn('serial=""', text)
            time.sleep(1)
            machine.be("segv,operation=nvmlDeviceGetUUID,gpu=1")
            found = exporter.scrape()
            self.assertEqual(up(found), {0: 1, 1: 0, 2: 1})
            self.assertEqual(found["zanctl_exporter_round_timeouts_total", frozenset()], 0)
            os.kill(int(exporter.children()[0]), 9)
            machine.be("hang,operation=nvmlInit")
            found = exporter.scrape(seconds=2)
            self.assertEqual(up(found), {0: 0, 1: 0, 2: 0})
            self.assertEqual(found["zanthe_gpus", frozenset()], 0)
            self.assertEqual(exporter.get("/-/healthy")[0], 200)
            machine.be("")
            eventually(lambda: up(exporter.scrape()).get(0) == 1)

    def test_a_library_and_a_driver_that_come_later(self):
        with Machine({"gpus": [{}], "library": False}) as machine:
            later = machine.directory / "later"
            later.mkdir()
            machine.libraries = str(later)
            exporter = machine.serve()
            found = exporter.scrape()
            self.assertEqual(found["zanthe_gpus", frozenset()], 0)
            self.assertFalse(select(found, "zanthe_driver_info"))
            os.symlink(f"{HOSTILE}/libzanml.so", later / "libzanml.so")
            self.assertEqual(exporter.scrape()["zanthe_gpus", frozenset()], 2)
        with Machine({"gpus": [{}], "driver_nodes": False}) as machine:
            self.assertIn("zanthe_gpus 0\n", machine.run("zanctl-exporter", "--once").stdout)


class Access(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        crypt = ctypes.CDLL("libcrypt.so.1").crypt
        crypt.restype = ctypes.c_char_p
        cls.hash = crypt(b"secret", b"$2b$10$abcdefghijklmnopqrstuu").decode()

    def configure(self, machine, text):
        draft = machine.directory / "draft.yml"
        draft.write_text(text)
        draft.rename(machine.directory / "web.yml")
        return f"--web.config.file={machine.directory}/web.yml"

    def login(self, password):
        return {"Authorization": "Basic " + base64.b64encode(f"u:{password}".encode()).decode()}

    def test_passwords(self):
        users = f"basic_auth_users:\n  u: {self.hash}\n"
        with Machine("one-gpu") as machine:
            exporter = machine.serve(self.configure(machine, users))
            status, _, headers = exporter.get("/")
            self.assertEqual((status, headers["WWW-Authenticate"].split()[0]), (401, "Basic"))
            self.assertEqual(exporter.get(Authorization="Basic %%%")[0], 401)
            self.assertEqual(exporter.get(**self.login("secret"))[0], 200)
            with concurrent.futures.ThreadPoolExecutor(40) as pool:
                crowd = [pool.submit(exporter.get, **self.login(f"wrong{i}")) for i in range(40)]
                for _ in range(5):
                    self.assertEqual(exporter.get(**self.login("secret"))[0], 200)
                self.assertFalse(all(future.done() for future in crowd), "who is known goes first")
                self.assertEqual({future.result()[0] for future in crowd}, {401})
            for broken in ("basic_auth_users: [", users + "surprise: 1\n",
                           users.replace("$2b$", "$1$"), users + f"  u: {self.hash}\n"):
                self.configure(machine, broken)
                self.assertEqual(exporter.get(**self.login("secret"))[0], 200)
                self.assertEqual(exporter.get()[0], 401)
            self.assertEqual(exporter.errors.read_text().count("the former configuration holds"), 4)
            self.assertIn("web.yml:3: surprise is not supported", exporter.errors.read_text())
            self.configure(machine, users.replace(" u:", " other:"))
            self.assertEqual(exporter.get(**self.login("secret"))[0], 401)
            self.configure(machine, "")
            self.assertEqual(exporter.get()[0], 200)

    def certify(self, machine):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:P-256", "-nodes", "-days", "2", "-subj", "/CN=localhost",
                        "-addext", "subjectAltName=DNS:localhost", "-keyout",
                        machine.directory / "key.pem", "-out", machine.directory / "cert.pem"],
                       check=True, capture_output=True)
        return ssl.create_default_context(cafile=machine.directory / "cert.pem")

    def test_tls(self):
        tls = "tls_server_config:\n  cert_file: cert.pem\n  key_file: key.pem\n"
        with Machine("one-gpu") as machine:
            context = self.certify(machine)
            option = self.configure(machine, tls + "  min_version: TLS13\n")
            subprocess.run(["promtool", "check", "web-config", machine.directory / "web.yml"],
                           check=True, capture_output=True)
            exporter = machine.serve(option)
            self.assertEqual(exporter.get(context=context)[0], 200)
            old = ssl.create_default_context(cafile=machine.directory / "cert.pem")
            old.maximum_version = ssl.TLSVersion.TLSv1_2
            with self.assertRaises(OSError):
                exporter.get(context=old)
            self.configure(machine, tls)
            self.assertEqual(exporter.get(context=old)[0], 200)
            self.configure(machine, tls.replace("cert.pem", "new.pem") + "  min_version: TLS13\n")
            self.assertEqual(exporter.get(context=old)[0], 200)
            os.link(machine.directory / "cert.pem", machine.directory / "new.pem")
            with self.assertRaises(OSError):
                exporter.get(context=old)
            self.configure(machine, tls)
            old.minimum_version = old.maximum_version = ssl.TLSVersion.TLSv1_1
            old.set_ciphers("DEFAULT:@SECLEVEL=0")
            with self.assertRaises(OSError):
                exporter.get(context=old)
            renewed = self.certify(machine)
            with self.assertRaises(ssl.SSLCertVerificationError):
                exporter.get(context=context)
            self.assertEqual(exporter.get(context=renewed)[0], 200)
            (machine.directory / "key.pem").write_text("none")
            self.assertEqual(exporter.get(context=renewed)[0], 200)
            self.assertIn("web.yml:1: cert_file and key_file cannot be used", exporter.errors.read_text())


class Health(unittest.TestCase):
    def check(self, machine, *arguments):
        run = machine.run("zanctl-health", *arguments)
        return run.returncode, run.stdout

    def test_sees_whatever_holds_a_gpu(self):
        vgpu = {"virtualization_mode": "vgpu", "vgpu": {"instances": [{"type": 1}]}}
        for status, entry in ((0, {}), (0, {"processes": [{"kind": "self"}]}), (2, vgpu),
                              (2, {"processes": [{"kind": "dead"}]}),
                              (2, {"processes": [{"command": "a\nb", "lists": "all"}]})):
            with self.subTest(entry), Machine({"gpus": [{}, entry],
                                               "vgpu_types": [{"id": 1}]}) as machine:
                found, text = self.check(machine, "--idle")
                self.assertEqual((found, text.count("\n")), (status, 1), text)

    def test_says_when_it_cannot_find_out(self):
        hanging = {"gpus": [{}, {}],
                   "faults": [{"operation": "nvmlDeviceGetUUID", "gpu": 1, "latency_us": HANG}]}
        with Machine(hanging) as machine:
            self.assertEqual(self.check(machine, "--timeout=1"),
                             (3, "unknown: GPU 1 does not answer in time\n"))
            for fault in ("--uuids=none", "--remember=none/none"):
                status, text = self.check(machine, fault, "--json", "--timeout=1")
                self.assertEqual((status, json.loads(text)["status"]), (3, 3))
        with Machine({"gpus": [{}], "library": False}) as machine:
            status, text = self.check(machine)
            self.assertEqual(status, 3)
            self.assertIn("libzanml.so", text)
            self.assertEqual(self.check(machine, "--gpus=many"), (3, ""))


if __name__ == "__main__":
    unittest.main()
