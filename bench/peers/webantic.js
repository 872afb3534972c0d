// SPDX-License-Identifier: Apache-2.0

// webantic.js CONFIG SERVER_NAME ROOT: changes the root of one server and writes the file back.
const ConfigParser = require('@webantic/nginx-config-parser');

const [file, serverName, root] = process.argv.slice(2);
const parser = new ConfigParser();
const config = parser.readConfigFile(file, { parseIncludes: false });
config.server.find((server) => server.server_name === serverName).root = root;
parser.writeConfigFile(file, config, true);
