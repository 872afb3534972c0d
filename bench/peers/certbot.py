# SPDX-License-Identifier: Apache-2.0

"""certbot.py CONFIG SERVER_NAME ROOT: changes the root of one server and writes the file back."""
import sys

from certbot_nginx._internal import nginxparser

path, server_name, root = sys.argv[1:]
with open(path, encoding="utf-8") as file:
    config = nginxparser.load(file)
names = ["server_name", *server_name.split()]
[server] = [lines for opening, lines in config if opening == ["server"] and names in lines]
[line] = [line for line in server if line[0] == "root"]
line[1] = root
with open(path, "w", encoding="utf-8") as file:
    nginxparser.dump(config, file)
