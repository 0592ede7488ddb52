#!/usr/bin/env python3
"""A scripted stand-in for the model API, so that the real Claude Code CLI runs offline in tests.

    mock_model_api.py --turns TURNS.json --port-file FILE [--log REQUESTS.jsonl]

Listens on 127.0.0.1 on a free port, written to FILE once it listens. TURNS.json is a list of
replies. Each request of the main agent (a POST /v1/messages that offers tools) takes the next
reply; once they are used up it gets "Done.". A reply is an object with
    "text": "..."                                  a text block
    "tool": {"name": "Bash", "input": {...}}       one tool call
Requests without tools (titles, summaries) get a short title; every other path gets an empty
JSON object, and a proxy CONNECT is refused, so that nothing leaves the machine. Each request is
appended to the log as one JSON line: {"path", "kind", "last"} where "last" is the text of the
last user message (it carries the tool results).
"""
import argparse
import json
import os
import threading
import uuid
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

lock = threading.Lock()
turns = []
log_path = None


def record(entry):
    if not log_path:
        return
    with lock, open(log_path, "a") as f:
        f.write(json.dumps(entry) + "\n")


def text_of(content):
    if isinstance(content, str):
        return content
    parts = []
    for block in content if isinstance(content, list) else []:
        if not isinstance(block, dict):
            continue
        if block.get("type") == "text":
            parts.append(block.get("text", ""))
        elif block.get("type") == "tool_result":
            parts.append("[tool_result] " + text_of(block.get("content")))
    return "\n".join(parts)


def blocks_of(reply):
    blocks = []
    if reply.get("text"):
        blocks.append({"type": "text", "text": reply["text"]})
    if reply.get("tool"):
        blocks.append({"type": "tool_use", "id": "toolu_" + uuid.uuid4().hex[:24],
                       "name": reply["tool"]["name"], "input": reply["tool"].get("input", {})})
    return blocks or [{"type": "text", "text": "Done."}]


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0"  # one response per connection: a stream needs no length

    def log_message(self, *args):
        pass

    def send_json(self, value, status=200):
        data = json.dumps(value).encode()
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(data)

    def event(self, name, value):
        self.wfile.write(("event: %s\ndata: %s\n\n" % (name, json.dumps(value))).encode())

    def send_message(self, body, blocks):
        usage = {"input_tokens": 20, "output_tokens": 5, "cache_creation_input_tokens": 0,
                 "cache_read_input_tokens": 0}
        stop = "tool_use" if any(b["type"] == "tool_use" for b in blocks) else "end_turn"
        message = {"id": "msg_" + uuid.uuid4().hex[:24], "type": "message", "role": "assistant",
                   "model": body.get("model") or "claude-sonnet-4-5", "stop_sequence": None}
        if not body.get("stream"):
            self.send_json(dict(message, content=blocks, stop_reason=stop, usage=usage))
            return
        self.send_response(200)
        self.send_header("Content-Type", "text/event-stream")
        self.end_headers()
        self.event("message_start", {"type": "message_start", "message": dict(
            message, content=[], stop_reason=None, usage=usage)})
        for index, block in enumerate(blocks):
            if block["type"] == "text":
                start = {"type": "text", "text": ""}
                delta = {"type": "text_delta", "text": block["text"]}
            else:
                start = dict(block, input={})
                delta = {"type": "input_json_delta", "partial_json": json.dumps(block["input"])}
            self.event("content_block_start",
                       {"type": "content_block_start", "index": index, "content_block": start})
            self.event("content_block_delta",
                       {"type": "content_block_delta", "index": index, "delta": delta})
            self.event("content_block_stop", {"type": "content_block_stop", "index": index})
        self.event("message_delta", {"type": "message_delta", "usage": {"output_tokens": 5},
                                     "delta": {"stop_reason": stop, "stop_sequence": None}})
        self.event("message_stop", {"type": "message_stop"})
        self.wfile.flush()

    def do_HEAD(self):
        self.send_json({})

    def do_GET(self):
        record({"path": self.path, "kind": "other", "last": ""})
        self.send_json({"data": [], "has_more": False} if self.path.startswith("/v1/models")
                       else {})

    def do_CONNECT(self):
        record({"path": self.path, "kind": "refused", "last": ""})
        self.send_response(403)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def do_POST(self):
        length = int(self.headers.get("Content-Length") or 0)
        try:
            body = json.loads(self.rfile.read(length) or b"{}")
        except ValueError:
            body = {}
        path = self.path.split("?")[0]
        if path == "/v1/messages/count_tokens":
            self.send_json({"input_tokens": 20})
            return
        if path != "/v1/messages":
            record({"path": path, "kind": "other", "last": ""})
            self.send_json({})
            return
        messages = body.get("messages") or []
        last = text_of(messages[-1].get("content")) if messages else ""
        if not body.get("tools"):
            record({"path": path, "kind": "side", "last": last[:2000]})
            system = json.dumps(body.get("system", "")).lower()
            wants_json = "json" in system or "json" in last.lower()
            text = json.dumps({"title": "Test session"}) if wants_json else "Test session"
            self.send_message(body, [{"type": "text", "text": text}])
            return
        with lock:
            reply = turns.pop(0) if turns else {"text": "Done."}
        record({"path": path, "kind": "main", "last": last[:2000]})
        self.send_message(body, blocks_of(reply))


def main():
    global turns, log_path
    parser = argparse.ArgumentParser()
    parser.add_argument("--turns", required=True)
    parser.add_argument("--port-file", required=True)
    parser.add_argument("--log")
    args = parser.parse_args()
    with open(args.turns) as f:
        turns = json.load(f)
    log_path = args.log
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    with open(args.port_file + ".tmp", "w") as f:
        f.write(str(server.server_address[1]))
    os.replace(args.port_file + ".tmp", args.port_file)
    server.serve_forever()


if __name__ == "__main__":
    main()
