"""Selenium's driver for Firefox without geckodriver, which Debian 12 does not have.

Firefox itself answers the commands of WebDriver on a socket (Marionette): each message is its
length, a colon and a JSON array. This turns what selenium wants into such messages.
"""

import json
import socket
import subprocess
import time

from selenium import webdriver
from selenium.common.exceptions import WebDriverException

PORT = 2828
PREFERENCES = {
    "browser.shell.checkDefaultBrowser": False,
    "browser.download.folderList": 2,
    "network.captive-portal-service.enabled": False,
    "network.connectivity-service.enabled": False,
}
COMMANDS = {
    "newSession": "WebDriver:NewSession",
    "get": "WebDriver:Navigate",
    "refresh": "WebDriver:Refresh",
    "w3cExecuteScript": "WebDriver:ExecuteScript",
    "findElement": "WebDriver:FindElement",
    "findElements": "WebDriver:FindElements",
    "findChildElement": "WebDriver:FindElement",
    "getElementRect": "WebDriver:GetElementRect",
    "actions": "WebDriver:PerformActions",
    "setWindowRect": "WebDriver:SetWindowRect",
    "quit": "Marionette:Quit",
}


class Marionette:
    """A running Firefox, as what selenium calls a command executor."""

    keep_alive = True
    w3c = True

    def __init__(self, profile, preferences):
        profile.mkdir()
        lines = [f'user_pref("{name}", {json.dumps(value)});\n'
                 for name, value in {**PREFERENCES, **preferences}.items()]
        (profile / "user.js").write_text("".join(lines))
        self.process = subprocess.Popen(
            ["firefox-esr", "--headless", "--marionette", "--profile", profile],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.socket = self._connect()
        self._receive()  # its greeting

    def _connect(self):
        for _ in range(1200):
            try:
                return socket.create_connection(("127.0.0.1", PORT)).makefile("rwb")
            except OSError:
                time.sleep(0.05)
        raise WebDriverException("Firefox does not answer")

    def _receive(self):
        length = b""
        while (byte := self.socket.read(1)) != b":":
            length += byte
        return json.loads(self.socket.read(int(length)))

    def execute(self, command, parameters):
        """Called by selenium for each command."""
        parameters = {key: value for key, value in parameters.items() if key != "sessionId"}
        if command == "newSession":
            parameters = {}
        elif command.startswith("findChild"):
            parameters["element"] = parameters.pop("id")
        elif "xecuteScript" in command:
            parameters["sandbox"] = None  # may change what the page's own scripts see
        message = json.dumps([0, 1, COMMANDS[command], parameters]).encode()
        self.socket.write(b"%d:%s" % (len(message), message))
        self.socket.flush()
        _, _, error, result = self._receive()
        if error:
            raise WebDriverException(f"{error['error']}: {error['message']}")
        if command == "newSession":
            return {"value": result, "sessionId": result["sessionId"]}
        if command == "quit":
            self.process.wait(60)
        has_value = isinstance(result, dict) and "value" in result
        return {"value": result["value"] if has_value else result}

    def close(self):
        self.socket.close()


def start(profile, preferences):
    """A driver like webdriver.Firefox's. `profile` is a folder that does not exist yet."""
    return webdriver.Remote(Marionette(profile, preferences), options=webdriver.FirefoxOptions())
