"""A symbol store over HTTP on this machine, for tests: serves a folder, and the first part of a path says how.

    server.py FOLDER

writes FOLDER/ports, the ports of three servers: a plain one, one with TLS (its certificate is FOLDER/certificate.pem)
and one that is a process of its own and dies in the middle of its first answer. FOLDER/requests gets a line for each
request. Ends with the process that started it.
"""
import base64, gzip, http.server, os, signal, ssl, struct, subprocess, sys, threading, time, zlib

folder = sys.argv[1]
asked = set()
lock = threading.Lock()


def blocks(content):
    return [content[i:i + 32768] for i in range(0, len(content), 32768)]


def mszip(content):
    history = b''
    for block in blocks(content):
        packer = zlib.compressobj(9, zlib.DEFLATED, -15, zdict=history)
        yield b'CK' + packer.compress(block) + packer.flush(), len(block)
        history = block


def lzx(content):  # blocks of the kind that is not compressed, each a frame; the first bit of all says "no x86 code"
    for number, block in enumerate(blocks(content)):
        bits, count = (3 << 24 | len(block), 28 if number == 0 else 27)
        bits <<= 32 - count
        head = struct.pack('<HH', bits >> 16, bits & 0xFFFF) + struct.pack('<III', 1, 1, 1)
        yield head + block + b'\0' * (len(block) & 1), len(block)


def cabinet(content, method):
    data = b''.join(struct.pack('<IHH', 0, len(packed), size) + packed for packed, size in method(content))
    kind = 1 if method is mszip else 15 << 8 | 3
    file = struct.pack('<IIHHHH', len(content), 0, 0, 0, 0, 0x20) + b'file\0'
    first_data = 36 + 8 + len(file)
    head = struct.pack('<4sIIIIIBBHHHHH', b'MSCF', 0, first_data + len(data), 0, 44, 0, 3, 1, 1, 1, 0, 1, 0)
    return head + struct.pack('<IHH', first_data, len(blocks(content)), kind) + file + data


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = 'HTTP/1.1'

    def log_message(self, *arguments):
        pass

    def answer(self, status, body=b'', length=None, **headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name.replace('_', '-'), value)
        self.send_header('Content-Length', len(body) if length is None else length)
        self.end_headers()
        self.wfile.write(body)
        if length is not None and length != len(body):
            self.close_connection = True

    def do_GET(self):
        with lock:
            with open(folder + '/requests', 'a') as log:
                log.write(self.path + '\n')
            again = self.path in asked
            asked.add(self.path)
        way, place = self.path[1:].split('/', 1)
        compressed = way in ('mszip', 'lzx') and place.endswith('_')
        try:
            with open(folder + '/' + (place[:-1] + 'b' if compressed else place), 'rb') as file:
                body = file.read()
        except OSError:
            return self.answer(404, b'no such file')
        half = len(body) // 2
        if way == 'slow':
            time.sleep(30)
        elif way == 'cut':
            self.answer(200, body[:half], len(body))
        elif way == 'short':
            self.answer(200, body[:half])
        elif way == 'endless':
            self.answer(200, b'', 3 << 30)
        elif way == 'moved':
            self.answer(302, Location='/gzip/' + place)
        elif way == 'circle':
            self.answer(302, Location=self.path)
        elif way == 'busy' and not again:
            self.answer(503, Retry_After='0')
        elif way == 'broken':
            self.answer(500)
        elif way == 'gzip':
            self.answer(200, gzip.compress(body), Content_Encoding='gzip')
        elif way == 'badgzip':
            self.answer(200, gzip.compress(body)[:-9], Content_Encoding='gzip')
        elif way in ('mszip', 'lzx'):
            self.answer(200, cabinet(body, mszip if way == 'mszip' else lzx)) if compressed else self.answer(404)
        elif way == 'user' and self.headers['Authorization'] != 'Basic ' + base64.b64encode(b'me:s%cret').decode():
            self.answer(401, WWW_Authenticate='Basic realm="store"')
        elif way == 'dying':
            self.send_response(200)
            self.send_header('Content-Length', len(body))
            self.end_headers()
            self.wfile.write(body[:half])
            os.kill(os.getpid(), signal.SIGKILL)
        else:
            time.sleep(0.3 if way == 'steady' else 0)
            self.answer(200, body)


class Server(http.server.ThreadingHTTPServer):
    request_queue_size = 64
    daemon_threads = True

    def handle_error(self, *arguments):  # clients may leave
        pass


servers = [Server(('127.0.0.1', 0), Handler) for _ in range(3)]
certificate, key = folder + '/certificate.pem', folder + '/key.pem'
subprocess.run(['openssl', 'req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-days', '2', '-subj', '/CN=localhost',
                '-addext', 'subjectAltName=DNS:localhost', '-keyout', key, '-out', certificate],
               check=True, stderr=subprocess.DEVNULL)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(certificate, key)
servers[1].socket = context.wrap_socket(servers[1].socket, server_side=True, do_handshake_on_connect=False)


def serve(mine):
    parent = os.getppid()
    for server in mine:
        threading.Thread(target=server.serve_forever, daemon=True).start()
    while os.getppid() == parent:
        time.sleep(0.2)


if os.fork() == 0:
    serve(servers[2:])
    os._exit(0)
servers[2].socket.close()
with open(folder + '/ports.new', 'w') as ports:
    ports.write(' '.join(str(server.server_address[1]) for server in servers))
os.rename(folder + '/ports.new', folder + '/ports')
serve(servers[:2])
