// SPDX-License-Identifier: Apache-2.0

// nginx-conf.js CONFIG SERVER_NAME ROOT: changes the root of one server and writes the file back.
const { NginxConfFile } = require('nginx-conf');

const [file, serverName, root] = process.argv.slice(2);
NginxConfFile.create(file, (error, config) => {
  if (error) throw error;
  const server = config.nginx.server.find((each) => each.server_name[0]._value === serverName);
  server.root[0]._value = root; // which writes the file
});
