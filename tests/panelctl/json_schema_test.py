#!/usr/bin/env python3
"""What panelctl prints with --json, for each verb, against docs/panelctl.schema.json. It runs a panelkitd of its own.

    json_schema_test.py FOLDER_OF_PROGRAMS SCHEMA
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

import jsonschema

PROGRAMS, SCHEMA = sys.argv[1], sys.argv[2]
MODULE = "/usr/lib/softhsm/libsofthsm2.so"

# The verb, its arguments, standard input, and its exit code. Each row uses what the rows before it have made.
ROWS = [
    ("version", [], "", 0),
    ("provider list", [], "", 0),
    ("provider raise", ["embedded"], "", 0),
    ("token init", ["--label", "Office", "--so-pin-stdin", "--pin-stdin"], "so-pin-1\nuser-1\n", 0),
    ("token login", ["Office", "--pin-stdin"], "user-1\n", 0),
    ("token list", [], "", 0),
    ("token states", [], "", 0),
    ("token seed", ["Office"], "", 0),
    ("key generate", ["gate", "--key", "ec:256"], "", 0),
    ("key list", [], "", 0),
    ("key show", ["gate"], "", 0),
    ("psk create", ["site", "--value-stdin"], "psk-value-1\n", 0),
    ("psk list", [], "", 0),
    ("psk delete", ["site", "--yes"], "", 0),
    ("cert request", ["--cn", "gate", "--existing-key", "gate", "--output", "{folder}/gate.csr"], "", 0),
    ("cert import", ["{folder}/one.pem", "--key-file", "{folder}/one.key"], "", 0),
    ("cert list", [], "", 0),
    ("cert list", ["--with-key"], "", 0),
    ("cert list", ["--expiring", "2y"], "", 61),
    ("cert list", ["--expired"], "", 0),
    ("cert show", ["one"], "", 0),
    ("cert chain", ["one"], "", 0),
    ("cert verify", ["one"], "", 0),
    ("cert export", ["one", "--output", "{folder}/again.pem"], "", 0),
    ("cert reload", [], "", 0),
    ("cert import", ["{folder}/ca.pem"], "", 0),
    ("crl import", ["{folder}/ca.crl"], "", 0),
    ("crl list", [], "", 0),
    ("crl delete", ["ca", "--yes"], "", 0),
    ("config get", ["IKE.DPD_IDLE_TIME"], "", 0),
    ("config list", ["IKE"], "", 0),
    ("config diff", [], "", 0),
    ("config set", ["IKE.DPD_IDLE_TIME", "77"], "", 0),
    ("config pending", [], "", 0),
    ("config revert", ["--all"], "", 0),
    ("config commit", [], "", 0),
    ("policy status", [], "", 0),
    ("policy check", ["{folder}/policy.conf"], "", 0),
    ("policy source set", ["--source", "SOURCE_FILE", "--file", "{folder}/policy.conf"], "", 0),
    ("policy activate", ["system"], "", 0),
    ("policy view", [], "", 0),
    ("policy activate", ["driver"], "", 0),
    ("config export", ["LOG"], "", 0),
    ("config plan", ["{folder}/plan.json"], "", 0),
    ("config apply", ["{folder}/plan.json"], "", 0),
    ("config describe", ["IKE.DPD_IDLE_TIME"], "", 0),
    ("config reset", ["IKE.DPD_IDLE_TIME"], "", 0),
    ("policy show", [], "", 0),
    ("policy explain", [], "", 0),
    ("policy source get", [], "", 0),
    ("net list", [], "", 0),
    ("tunnel list", [], "", 0),
    ("status", [], "", 0),
    ("doctor", [], "", None),
    ("cert delete", ["one", "--yes", "--with-key"], "", 0),
    ("key delete", ["gate", "--yes"], "", 0),
    ("token logout", ["Office"], "", 0),
    ("error", ["cert", "show", "none"], "", 10),
    ("error", ["cert", "lisst"], "", 2),
    ("error", ["psk", "list", "--strict"], "", 14),
    ("note", ["psk", "list"], "", 0),
    ("token change-pin", ["Office", "--pin-stdin", "--new-pin-stdin"], "user-1\nuser-2\n", 0),
    ("token reload", [], "", 0),
    ("transcript", ["{folder}/transcript"], "", 0),
    ("provider load", ["{folder}/second.so", "--name", "second"], "", 0),
    ("provider unload", ["second"], "", 0),
]

# Verbs without a row: they need an engine that makes tunnels (tunnel_test.cpp has them), or run while others do.
WITHOUT_ROW = {"watch", "tunnel show", "tunnel up", "tunnel down", "tunnel rekey"}


def started(folder):
    """A panelkitd that serves; its log goes to a file."""
    log = os.path.join(folder, "log")
    with open(log, "w", encoding="utf-8") as stream:
        service = subprocess.Popen([f"{PROGRAMS}/panelkitd", "--endpoint", f"{folder}/s", "--state", f"{folder}/state"],
                                   stderr=stream)
    for _ in range(600):
        with open(log, encoding="utf-8") as stream:
            if " serves " in stream.read():
                return service
        time.sleep(0.05)
    service.kill()
    sys.exit("panelkitd does not start")


def output_of(row, folder):
    verb, arguments, typed, status = row
    on_error_stream = verb in ("error", "note")
    words = [] if on_error_stream else verb.split()
    command = [f"{PROGRAMS}/panelctl", "--endpoint", f"{folder}/s", "--json", *words,
               *(argument.format(folder=folder) for argument in arguments)]
    done = subprocess.run(command, input=typed, capture_output=True, text=True, timeout=120, check=False,
                          env={**os.environ, "PANELKIT_TRANSCRIPT": f"{folder}/transcript"})
    if status is not None and done.returncode != status:
        raise ValueError(f"exit code {done.returncode}: {done.stderr}")
    return json.loads(done.stderr if on_error_stream else done.stdout)


def secrets_in_transcript(folder):
    """What was typed, and the lines of the private key that was imported, as far as the transcript of all rows has it."""
    with open(f"{folder}/transcript", encoding="utf-8") as stream:
        transcript = stream.read()
    with open(f"{folder}/one.key", encoding="utf-8") as stream:
        secrets = stream.read().splitlines()
    secrets += [line for row in ROWS for line in row[2].splitlines()]
    for command in ("TokenLogin", "TokenInitialize", "TokenChangePassword", "InitTokenRNG", "CreatePresharedKey",
                    "ParseCertFile", "WriteGroup", "ReadGroup"):
        if f'"command":"{command}"' not in transcript:
            yield f"transcript: no {command}"
    for secret in secrets:
        if secret in transcript:
            yield f"transcript: holds {secret}"


def make_files(folder):
    """A certificate with its key, an authority with a CRL, a policy, a configuration and a second PKCS#11 module."""
    def openssl(*words):
        subprocess.run(["openssl", *words], check=True, capture_output=True, cwd=folder)

    for name in ("one", "ca"):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key", "-out", f"{name}.pem", "-days", "99",
                "-subj", f"/CN={name}")
    texts = {
        "ca.conf": "[ca]\ndefault_ca=a\n[a]\ndatabase=index\ndefault_md=sha256\ndefault_crl_days=9\n",
        "index": "",
        "policy.conf": "title = Office\nversion = 1\n[a]\naction = drop\n[b]\naction = pass\n",
        "plan.json": '{"IKE": {"DPD_IDLE_TIME": 78}}',
    }
    for name, text in texts.items():
        with open(os.path.join(folder, name), "w", encoding="utf-8") as stream:
            stream.write(text)
    openssl("ca", "-gencrl", "-config", "ca.conf", "-cert", "ca.pem", "-keyfile", "ca.key", "-out", "ca.crl")
    shutil.copy(MODULE, os.path.join(folder, "second.so"))


def watched(folder):
    """The lines of "watch" while a policy is activated."""
    panelctl = [f"{PROGRAMS}/panelctl", "--endpoint", f"{folder}/s", "--json"]
    with subprocess.Popen([*panelctl, "watch", "--count", "1", "--for", "60"], stdout=subprocess.PIPE, text=True) as watch:
        while watch.poll() is None:
            subprocess.run([*panelctl, "policy", "activate", "driver"], capture_output=True, check=True)
            time.sleep(0.2)
        return [json.loads(line) for line in watch.stdout]


def untyped_arrays(schema, place="schema"):
    """The arrays whose elements the schema does not describe."""
    if isinstance(schema, dict):
        if schema.get("type") == "array" and "items" not in schema:
            yield f"{place}: an array without \"items\""
        schema = schema.items()
    elif isinstance(schema, list):
        schema = enumerate(schema)
    else:
        return
    for name, part in schema:
        yield from untyped_arrays(part, f"{place}/{name}")


def main():
    with open(SCHEMA, encoding="utf-8") as stream:
        schema = json.load(stream)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    problems = list(untyped_arrays(schema))
    with tempfile.TemporaryDirectory() as folder:
        make_files(folder)
        service = started(folder)
        try:
            for row in ROWS:
                try:
                    for error in validator.iter_errors({row[0]: output_of(row, folder)}):
                        problems.append(f"{row[0]}: {error.json_path}: {error.message[:200]}")
                except ValueError as error:
                    problems.append(f"{row[0]} {row[1]}: {error}")
            problems += secrets_in_transcript(folder)
            for line in watched(folder):
                problems += [f"watch: {error.message[:200]}" for error in validator.iter_errors({"watch": line})]
        finally:
            service.terminate()
            service.wait()
    problems += [f"{verb}: has a schema, but no row" for verb in schema["properties"] if verb not in {row[0] for row in ROWS} | WITHOUT_ROW]
    if problems:
        sys.exit("\n".join(problems))


main()
