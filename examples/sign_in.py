#!/usr/bin/env python3
"""Sees to it that this device is signed in to an account, by way of "tarvkova --json".

    sign_in.py EMAIL    signs in, unless the device is signed in to it; the password is read from standard input
    sign_in.py --out    signs out

Exit code: that of tarvkova ("tarvkova --help" lists them).
"""
import getpass
import json
import subprocess
import sys
import time

LOCAL_FAILURE, USAGE, NOT_SIGNED_IN, UNREACHABLE = 1, 2, 3, 5  # exit codes of tarvkova
ATTEMPTS = 4
FIRST_PAUSE = 1.0  # seconds; each further one is twice as long


class Failure(Exception):
    """What tarvkova tells of a command that failed. A script decides by `exit_code` or `name`, never by the message."""

    def __init__(self, exit_code, code, name, message):
        super().__init__(f"{message} ({name}, code {code})")
        self.exit_code = exit_code
        self.name = name


def tarvkova(*arguments, secret=b""):
    """Runs a command, which may take minutes, and returns the object that it prints. `secret` goes to its standard
    input: arguments and environment could be read by other users."""
    try:
        done = subprocess.run(["tarvkova", "--json", *arguments], input=secret, stdout=subprocess.PIPE, check=False)
    except OSError as error:
        raise Failure(LOCAL_FAILURE, 0, "not_started", f"tarvkova cannot be started: {error.strerror}") from None
    try:
        outcome = json.loads(done.stdout)
    except ValueError:  # it was ended by a signal, or could not write
        raise Failure(LOCAL_FAILURE, 0, "no_output", f"tarvkova ended with {done.returncode} and no answer") from None
    if outcome["ok"]:
        return outcome
    error = outcome["error"]
    raise Failure(done.returncode, error["code"], error["name"], error["message"])


def retried(call):
    """Repeats the call while the service is out of reach: the one failure that passes without anybody's doing."""
    pause = FIRST_PAUSE
    for _ in range(ATTEMPTS - 1):
        try:
            return call()
        except Failure as failure:
            if failure.exit_code != UNREACHABLE:
                raise
            print(f"{failure}; again in {pause:g} s", file=sys.stderr)
        time.sleep(pause)
        pause *= 2
    return call()


def signed_in_email():
    """The account's address; None where the device is not signed in."""
    try:
        return tarvkova("status")["account"]["email"]
    except Failure as failure:
        if failure.exit_code != NOT_SIGNED_IN:
            raise
        return None


def read_password():
    """The first line of standard input, as its bytes are."""
    if sys.stdin.isatty():
        return getpass.getpass().encode()
    return sys.stdin.buffer.readline().rstrip(b"\n")


def sign_in(email):
    if retried(signed_in_email) == email:
        print(f"signed in to {email} already")
        return
    password = read_password()
    # An address that begins with "-" is none of tarvkova's options: what follows "--" never is.
    retried(lambda: tarvkova("login", "--password-file", "-", "--", email, secret=password + b"\n"))
    print(f"signed in to {email}")


def main(arguments):
    if len(arguments) != 1 or arguments[0] == "--help":
        print(__doc__, file=sys.stderr)
        return USAGE
    try:
        if arguments[0] == "--out":
            retried(lambda: tarvkova("logout"))
            print("signed out")
        else:
            sign_in(arguments[0])
    except Failure as failure:
        print(failure, file=sys.stderr)
        return failure.exit_code
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
