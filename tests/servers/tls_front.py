"""What tls_front.sh starts when there are certificates."""

import asyncio
import os
import ssl
import sys
from urllib.parse import urlsplit

place = sys.argv[1]


def context(name):
    made = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    made.load_cert_chain(f"{place}/{name}.pem", f"{place}/{name}.key")
    return made


def show(connection, name, _):
    connection.context = shown.get(name, connection.context)


async def pass_on(reader, writer):
    try:
        while some := await reader.read(65536):
            writer.write(some)
            await writer.drain()
    except (OSError, ssl.SSLError):
        pass
    writer.close()


async def serve(reader, writer):
    behind_reader, behind_writer = await asyncio.open_connection(behind.hostname, behind.port)
    await asyncio.gather(pass_on(reader, behind_writer), pass_on(behind_reader, writer))


async def main():
    front = await asyncio.start_server(serve, "127.0.0.1", 0, ssl=usual)
    with open(f"{place}/ready.new", "w") as ready:
        print(front.sockets[0].getsockname()[1], file=ready)
    os.rename(f"{place}/ready.new", f"{place}/ready")
    await asyncio.get_running_loop().run_in_executor(None, sys.stdin.read)
    os._exit(0)


with open(f"{place}/behind") as file:
    behind = urlsplit(file.read().strip())
shown = {f"{name}.localhost": context(name) for name in ("expired", "elsewhere")}
usual = context("server")
usual.sni_callback = show
asyncio.run(main())
