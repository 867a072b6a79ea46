#!/usr/bin/env bash
# postgres.sh start|stop FOLDER: a PostgreSQL server for one run of the tests. All of it lies in FOLDER; it listens on
# a socket there and nowhere else. What an earlier run left behind is cleared away first.
# postgres.sh tool FOLDER TOOL [OPTION...]: runs a tool of the server's there, as its owner.
set -euo pipefail

action=$1
folder=$2
binaries=$(ls -d /usr/lib/postgresql/15/bin 2>/dev/null || dirname "$(command -v pg_ctl)")

# The server refuses to run as root.
as_owner() {
  if [ "$(id -u)" -eq 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi
}

if [ "$action" = tool ]; then
  cd "$folder"
  as_owner "$binaries/$3" "${@:4}"
  exit
fi

if [ -e "$folder/data/postmaster.pid" ]; then
  (cd "$folder" && as_owner "$binaries/pg_ctl" -D data -m immediate stop >/dev/null 2>&1) || true
fi
rm -rf "$folder"
if [ "$action" = start ]; then
  mkdir -m 700 "$folder"
  [ "$(id -u)" -eq 0 ] && chown postgres: "$folder"
  cd "$folder"
  as_owner "$binaries/initdb" -D "$folder/data" -U postgres --auth=trust -E UTF8 --locale=C.UTF-8 --no-sync >/dev/null
  cat >>"$folder/data/postgresql.conf" <<CONF
listen_addresses = ''
unix_socket_directories = '$folder'
max_connections = 100
fsync = off
full_page_writes = off
autovacuum = off
CONF
  as_owner "$binaries/pg_ctl" -D "$folder/data" -l "$folder/log" -w -t 60 start >/dev/null
fi
