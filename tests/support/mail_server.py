#!/usr/bin/python3
"""An SMTP server that keeps what it takes: mail_server.py FOLDER [starttls|tls]. Prints its port.

Each mail becomes a file of the folder. Receivers say what befalls them: refused@ is refused for good, later@ is put off
at the first attempt, gone@ loses the connection then, cut@ loses it after its text has come, slow@ waits before the
answer, silent@ gets none. With TLS it wants an account, and vouches for itself in FOLDER/authority.pem.
"""
import asyncio
import os
import select
import ssl
import subprocess
import sys
import uuid

from aiosmtpd.smtp import SMTP, AuthResult

folder = sys.argv[1]
tls = sys.argv[2] if len(sys.argv) > 2 else None
tried = set()


class Keeper:
    async def handle_RCPT(self, server, session, envelope, address, options):
        if address.startswith("refused@"):
            return "550 5.1.1 No such person <here>"
        is_first = address not in tried
        tried.add(address)
        if address.startswith("later@") and is_first:
            return "451 4.7.1 Try again later"
        if address.startswith("gone@") and is_first:
            server.transport.abort()
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        name = f"{folder}/{uuid.uuid4().hex}"
        with open(name + ".part", "wb") as file:
            file.write(envelope.content)
        os.rename(name + ".part", name + ".mail")
        if envelope.rcpt_tos[0].startswith("cut@"):
            server.transport.abort()
        if envelope.rcpt_tos[0].startswith("slow@"):
            await asyncio.sleep(0.05)
        if envelope.rcpt_tos[0].startswith("silent@"):
            await asyncio.Event().wait()
        return "250 Taken"


def check(server, session, envelope, mechanism, data):
    return AuthResult(success=(data.login, data.password) == (b"surva", b"pass word"), handled=False)


def make_context():
    key, certificate = folder + "/key.pem", folder + "/authority.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                    "-days", "2", "-subj", "/CN=mail", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key,
                    "-out", certificate], check=True, stderr=subprocess.DEVNULL)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    return context


async def serve():
    loop = asyncio.get_running_loop()
    context = make_context() if tls else None
    options = {"authenticator": check, "auth_required": True, "auth_require_tls": tls == "starttls"} if tls else {}
    if tls == "starttls":
        options.update(tls_context=context, require_starttls=True)
    server = await loop.create_server(lambda: SMTP(Keeper(), hostname="localhost", **options), "127.0.0.1", 0,
                                      ssl=context if tls == "tls" else None)
    print(server.sockets[0].getsockname()[1], flush=True)
    # Ends with whoever reads the port.
    reader = select.poll()
    reader.register(sys.stdout, 0)
    await loop.run_in_executor(None, reader.poll)


asyncio.run(serve())
