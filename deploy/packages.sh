# Installs the Debian packages that a task needs and the machine lacks.
# Sourced by ./run, ./test and bench/run: `need_packages build`, `need_packages test`, ...

packages_for() {
  case "$1" in
    build) echo g++ cmake ninja-build libboost1.81-dev libsqlite3-dev libpq-dev libssl-dev libsodium-dev \
                libtomlplusplus-dev libcli11-dev libspdlog-dev libutf8proc-dev libqrencode-dev libxlsxwriter-dev \
                libcurl4-openssl-dev ;;
    test)  echo libgtest-dev postgresql-15 postgresql-client-15 clang-14 libclang-rt-14-dev chromium openssl sqlite3 \
                python3-aiosmtpd ;;
    bench) echo nginx-light curl sqlite3 ;;
  esac
}

is_installed() {
  dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed
}

need_packages() {
  local set name missing=()
  for set in "$@"; do
    for name in $(packages_for "$set"); do
      is_installed "$name" || missing+=("$name")
    done
    if [ "$set" = test ]; then
      command -v node >/dev/null || missing+=(nodejs)
      command -v npm >/dev/null || missing+=(npm)
    fi
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "Missing packages: ${missing[*]}. Install them as root, then start again." >&2; return 2; }
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  "${as_root[@]}" apt-get update -qq
  # Debian would start a cluster and a web server of its own; the tests and the benchmark start theirs.
  "${as_root[@]}" mkdir -p /etc/postgresql-common
  [ -e /etc/postgresql-common/createcluster.conf ] ||
    echo 'create_main_cluster = false' | "${as_root[@]}" tee /etc/postgresql-common/createcluster.conf >/dev/null
  "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
