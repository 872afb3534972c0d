# SPDX-License-Identifier: Apache-2.0

"""What a panel does with the sites of real servers that run: requests say what has become of them."""

import http.client
import os
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile
import time
from pathlib import Path

import pytest

import qeltemplate

PATH = os.environ["PATH"] + ":/usr/sbin"
PATIENCE = 20  # seconds

NGINX = {
    "program": "nginx",
    "config": """daemon off;
pid FOLDER/pid;
error_log FOLDER/error.log;
events {
}
http {
    access_log off;
    client_body_temp_path FOLDER/temp;
    proxy_temp_path FOLDER/temp;
    fastcgi_temp_path FOLDER/temp;
    uwsgi_temp_path FOLDER/temp;
    scgi_temp_path FOLDER/temp;
    server {
        listen 127.0.0.1:PORT_HTTP default_server;
        server_name default.example;
        root FOLDER/www/default;
    }
    include FOLDER/sites.conf;
}
""",
    "as_root": "user www-data;\n",
    "run": "nginx -p FOLDER -c FOLDER/server.conf",
    "check": "nginx -t -p FOLDER -c FOLDER/server.conf",
    "reload": signal.SIGHUP,
    "sites": """# The sites of customers.
server {
    listen 127.0.0.1:PORT_HTTP;
    server_name neighbour.example;

    root FOLDER/www/neighbour;   # by hand
}
""",
    "add": """server {
    listen 127.0.0.1:PORT_HTTP;
    server_name {% $name %};
    root {% $root %};
}
""",
    "rename": """server {
    server_name {% $name %};
}
""",
    "tls": """server {
    server_name {% $name %};
    {% if $tls == on %}
    listen 127.0.0.1:PORT_TLS ssl;
    ssl_certificate {% $certificate %}.pem;
    ssl_certificate_key {% $certificate %}.key;
    {% endif %}
}
""",
    "remove": """{% if $site == on %}
server {
    server_name {% $name %};
}
{% endif %}
""",
}

APACHE = {
    "program": "apache2",
    "config": "".join(
        f"LoadModule {module}_module /usr/lib/apache2/modules/mod_{module}.so\n"
        for module in ("mpm_event", "authz_core", "dir", "mime", "socache_shmcb", "ssl")
    )
    + """ServerName default.example
DefaultRuntimeDir FOLDER
PidFile FOLDER/pid
ErrorLog FOLDER/error.log
TypesConfig /dev/null
StartServers 1
ThreadsPerChild 4
MinSpareThreads 1
MaxRequestWorkers 4
Listen 127.0.0.1:PORT_HTTP
Listen 127.0.0.1:PORT_TLS
<Directory FOLDER/www>
    Require all granted
</Directory>
<VirtualHost 127.0.0.1:PORT_HTTP>
    ServerName default.example
    DocumentRoot FOLDER/www/default
</VirtualHost>
Include FOLDER/sites.conf
""",
    "as_root": "User www-data\nGroup www-data\n",
    "run": "apache2 -d FOLDER -f FOLDER/server.conf -DFOREGROUND",
    "check": "apache2 -t -d FOLDER -f FOLDER/server.conf",
    "reload": signal.SIGUSR1,
    "sites": """# The sites of customers.
<VirtualHost 127.0.0.1:PORT_HTTP>
    ServerName neighbour.example

    DocumentRoot FOLDER/www/neighbour
    # by hand
</VirtualHost>
""",
    "add": """<VirtualHost 127.0.0.1:PORT_HTTP>
    ServerName {% $name %}
    DocumentRoot {% $root %}
</VirtualHost>
""",
    "rename": """<VirtualHost 127.0.0.1:PORT_HTTP>
    ServerName {% $name %}
</VirtualHost>
""",
    "tls": """<VirtualHost 127.0.0.1:PORT_HTTP>
    ServerName {% $name %}
</VirtualHost>
{% if $tls == on %}
<VirtualHost 127.0.0.1:PORT_TLS>
    ServerName {% $name %}
    DocumentRoot FOLDER/www/one
    SSLEngine on
    SSLCertificateFile {% $certificate %}.pem
    SSLCertificateKeyFile {% $certificate %}.key
</VirtualHost>
{% endif %}
""",
    "remove": """{% if $site == on %}
<VirtualHost 127.0.0.1:PORT_HTTP>
    ServerName {% $name %}
</VirtualHost>
{% endif %}
""",
}


class Server:
    """A real server in a folder, which serves as long as the test runs."""

    def __init__(self, kind, folder):
        self.kind = kind
        self.folder = folder
        self.ports = {"PORT_HTTP": socket.socket(), "PORT_TLS": socket.socket()}
        for port in self.ports.values():
            port.bind(("127.0.0.1", 0))
            # From now on a server that asks for this very port gets it, and nobody who asks for any.
            port.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        for site in ("default", "neighbour", "one"):
            (folder / "www" / site).mkdir(parents=True)
            (folder / "www" / site / "index.html").write_text(site, encoding="utf-8")
        folder.chmod(0o755)
        self.make_certificate()
        self.sites = folder / "sites.conf"
        self.sites.write_text(self.filled(kind["sites"]), encoding="utf-8")
        as_root = kind["as_root"] if os.geteuid() == 0 else ""
        (folder / "server.conf").write_text(as_root + self.filled(kind["config"]), encoding="utf-8")
        self.run = subprocess.Popen(
            self.filled(kind["run"]).split(), env={**os.environ, "PATH": PATH}, start_new_session=True
        )
        self.wait_for_workers(set())

    def close(self):
        self.run.terminate()
        try:
            self.run.wait(PATIENCE)
        finally:
            if self.run.returncode is None:
                os.killpg(self.run.pid, signal.SIGKILL)
            for port in self.ports.values():
                port.close()

    def filled(self, text):
        for name, port in self.ports.items():
            text = text.replace(name, str(port.getsockname()[1]))
        return text.replace("FOLDER", str(self.folder))

    def make_certificate(self):
        command = (
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=test"
            " -addext subjectAltName=DNS:b.example -keyout FOLDER/site.key -out FOLDER/site.pem"
        )
        subprocess.run(self.filled(command).split(), check=True, capture_output=True)

    def workers(self):
        """Its processes. There is one for each configuration: a new process serves by the new one."""
        process = self.run.pid
        return set(Path(f"/proc/{process}/task/{process}/children").read_text(encoding="ascii").split())

    def wait_for_workers(self, old):
        """Until the server serves by the configuration that it has read last, and by no other."""
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            assert self.run.poll() is None, (self.folder / "error.log").read_text(encoding="utf-8")
            now = self.workers()
            if now and not now & old and self.get("default.example") == "default":
                return
            time.sleep(0.005)
        raise AssertionError("the server does not serve: " + (self.folder / "error.log").read_text("utf-8"))

    def get(self, name, tls=False):
        """What the server answers when it is asked for a site: the page, or what is wrong."""
        port = self.ports["PORT_TLS" if tls else "PORT_HTTP"].getsockname()[1]
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
        try:
            connection.connect()
            if tls:
                context = ssl.create_default_context(cafile=self.folder / "site.pem")
                connection.sock = context.wrap_socket(connection.sock, server_hostname=name)
            connection.request("GET", "/", headers={"Host": name})
            answer = connection.getresponse()
            text = answer.read().decode("utf-8")
            return text if answer.status == 200 else str(answer.status)
        except ssl.SSLError:
            return "no TLS"
        except ConnectionError:
            return "refused"
        finally:
            connection.close()

    def edit(self, task, values, **options):
        """As a panel does: the server judges the file, and takes it."""
        template = self.filled(self.kind[task])
        request = qeltemplate.Request(template, values, template_name=task, **options)
        check = f"PATH={PATH} " + self.filled(self.kind["check"])
        old = self.workers()
        reload = f"kill -{int(self.kind['reload'])} {self.run.pid}"
        with qeltemplate.update(self.sites, check=check, reload=reload) as files:
            for file in files:
                assert file.edit(request).warnings == ()
        assert files.result.reloaded == bool(files.result.changed)
        if files.result.reloaded:
            self.wait_for_workers(old)


@pytest.fixture(name="server", params=[NGINX, APACHE], ids=["nginx", "apache"])
def a_server(request):
    assert shutil.which(request.param["program"], path=PATH), "Debian: nginx, apache2-bin"
    # Not below a folder of pytest: a server's workers are somebody else, who may not look into it.
    with tempfile.TemporaryDirectory(prefix="qeltemplate-live-") as folder:
        server = Server(request.param, Path(folder))
        yield server
        server.close()


def refused(server, task, values, **options):
    """The names of what is refused; the file stays as it is, and so does what is served."""
    before = server.sites.read_bytes(), server.workers()
    with pytest.raises(qeltemplate.Refused) as caught:
        server.edit(task, values, **options)
    assert (server.sites.read_bytes(), server.workers()) == before
    for finding in caught.value.findings:
        places = [place.file for place in (finding.template_place, *finding.config_places) if place]
        assert places and set(places) <= {task, str(server.sites)}, finding
    return [finding.name for finding in caught.value.findings]


def test_the_life_of_a_site(server):
    root = str(server.folder / "www" / "one")
    certificate = str(server.folder / "site")
    before = server.sites.read_text(encoding="utf-8")
    assert server.get("a.example") == "default"

    server.edit("add", {"name": "a.example", "root": root}, create="only")
    assert server.get("a.example") == "one"
    assert refused(server, "add", {"name": "a.example", "root": root}, create="only") == ["exists"]

    server.edit("rename", {"name": ("a.example", "b.example")})
    assert (server.get("a.example"), server.get("b.example")) == ("default", "one")
    assert refused(server, "rename", {"name": ("a.example", "c.example")}) == ["unmatched-section"]

    tls = {"name": ("b.example", "b.example"), "certificate": certificate}
    assert server.get("b.example", tls=True) in ("no TLS", "refused")
    server.edit("tls", {**tls, "tls": "on"})
    assert (server.get("b.example", tls=True), server.get("b.example")) == ("one", "one")
    server.edit("tls", {**tls, "tls": "off"})
    assert server.get("b.example", tls=True) in ("no TLS", "refused")
    assert server.get("b.example") == "one"

    assert server.get("neighbour.example") == "neighbour"
    server.edit("remove", {"name": ("b.example", "b.example"), "site": "off"}, must_exist=True)
    assert server.get("b.example") == "default"
    assert server.get("neighbour.example") == "neighbour"
    assert server.sites.read_text(encoding="utf-8") == before
    values = {"name": ("b.example", "b.example"), "site": "off"}
    assert refused(server, "remove", values, must_exist=True) == ["not-found"]


def test_what_would_do_harm_is_refused_and_served_as_before(server):
    root = str(server.folder / "www" / "one")
    server.edit("add", {"name": "a.example", "root": root}, create="only")
    for name in ("b.example; root /", "b.example\nServerAlias x"):
        assert set(refused(server, "rename", {"name": ("a.example", name)})) == {"value"}, name
    assert refused(server, "rename", {"name": ("a.example", "neighbour.example")}) == ["collision"]
    assert (server.get("a.example"), server.get("neighbour.example")) == ("one", "neighbour")


def test_what_the_server_refuses_is_put_back(server):
    before = server.sites.read_bytes()
    server.edit("add", {"name": "b.example", "root": str(server.folder / "www" / "one")}, create="only")
    added = server.sites.read_bytes()
    assert added != before
    values = {"name": ("b.example", "b.example"), "tls": "on", "certificate": str(server.folder / "none")}
    with pytest.raises(qeltemplate.ServerRefused) as caught:
        server.edit("tls", values)
    assert str(server.folder / "none.pem") in caught.value.output
    assert server.sites.read_bytes() == added
    assert server.get("b.example") == "one"
