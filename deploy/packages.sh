# Installs the Debian packages that a task needs and the machine lacks.
# Sourced by ./run, ./test and bench/run: `need_packages build`, `need_packages test`, ...

# Whole: a machine may be Debian's smallest root, in which nothing is there by chance.
packages_for() {
  case "$1" in
    build) echo g++ cmake ninja-build pkg-config libboost1.81-dev libsqlite3-dev libpq-dev libssl-dev libsodium-dev \
                libtomlplusplus-dev libcli11-dev libspdlog-dev libutf8proc-dev libqrencode-dev libxlsxwriter-dev \
                libcurl4-openssl-dev libsystemd-dev prometheus-cpp-dev zlib1g-dev ;;
    test)  echo libgtest-dev postgresql-15 postgresql-client-15 chromium openssl sqlite3 ca-certificates \
                python3-aiosmtpd python3-cram curl nginx-light procps ;;
    lint)  echo clang-format-14 clang-tidy-14 ;;
    fuzz)  echo clang-14 libclang-rt-14-dev ;;
    attack) echo sqlmap wapiti slowhttptest nginx-light curl jq python3 postgresql-15 postgresql-client-15 ;;
    package) echo dpkg-dev file ;;
    container) echo dpkg-dev mmdebstrap debian-archive-keyring jq ;;
    bare)  echo debootstrap debian-archive-keyring gpgv systemd-container ;;
    bench) echo nginx-light curl sqlite3 ;;
  esac
}

is_installed() {
  dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed
}

# Debian would make and start a PostgreSQL cluster of its own; the tests start theirs. The setting is there for as long
# as the packages are being installed.
install_without_cluster() { # PACKAGE...
  local settings=/etc/postgresql-common/createcluster.d status=0
  "${as_root[@]}" mkdir -p "$settings"
  echo 'create_main_cluster = false' | "${as_root[@]}" tee "$settings/surva-tests.conf" >/dev/null
  install_packages "$@" || status=$?
  "${as_root[@]}" rm -f "$settings/surva-tests.conf"
  return "$status"
}

install_packages() { # PACKAGE...
  "${as_root[@]}" apt-get install -y -qq --no-install-recommends "$@" >/dev/null
}

need_packages() {
  local set name missing=() of_tests=no
  for set in "$@"; do
    for name in $(packages_for "$set"); do
      is_installed "$name" || missing+=("$name")
    done
    if [ "$set" = test ]; then
      of_tests=yes
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
  if [ "$of_tests" = yes ]; then
    install_without_cluster "${missing[@]}"
  else
    install_packages "${missing[@]}"
  fi
}
