#!/usr/bin/python3
"""An SMTP server that keeps what it takes: mail_server.py FOLDER. Prints its port.

Each mail becomes a file of the folder. Receivers say what befalls them: refused@ is refused for good, later@ is put off
at the first attempt, cut@ loses the connection after its text has come, slow@ waits before the answer.
"""
import asyncio
import os
import sys
import uuid

from aiosmtpd.smtp import SMTP

folder = sys.argv[1]
put_off = set()


class Keeper:
    async def handle_RCPT(self, server, session, envelope, address, options):
        if address.startswith("refused@"):
            return "550 5.1.1 No such person <here>"
        if address.startswith("later@") and address not in put_off:
            put_off.add(address)
            return "451 4.7.1 Try again later"
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
        return "250 Taken"


async def serve():
    loop = asyncio.get_running_loop()
    server = await loop.create_server(lambda: SMTP(Keeper()), "127.0.0.1", 0)
    print(server.sockets[0].getsockname()[1], flush=True)
    # Ends with whoever started it.
    await loop.run_in_executor(None, sys.stdin.read)


asyncio.run(serve())
