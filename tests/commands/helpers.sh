# What the transcripts share: surva itself, PostgreSQL's tools, and a server that ends with its transcript.
export PATH="${SURVA_BINARY%/*}:$PATH" PGHOST=${SURVA_TEST_POSTGRES##*host=} PGUSER=postgres
set -o pipefail
# What should end does.
surva() { timeout --foreground 60 "$SURVA_BINARY" "$@"; }

# Commands that surva does not obey: it says why, and ends with code 2.
refused() { # COMMAND...
  for words; do
    echo "$words:"
    eval "surva $words"
    [ $? -eq 2 ] || echo "ends with another code"
  done
}

# An empty database, which postgresql:///NAME leads to.
make() { # NAME [OPTION...]
  dropdb --if-exists --force "$1" 2>/dev/null
  createdb -T template0 "$@"
}

comes() { # CONDITION
  for _ in $(seq 600); do ! eval "$1" 2>/dev/null || return 0; sleep 0.1; done
  echo "never came: $1"
}

# Serves in the background; `server` is its process and `address` where it is.
serve() { # OPTION...
  : >said
  "$SURVA_BINARY" serve --listen 127.0.0.1:0 "$@" >said 2>error.log & server=$!
  trap "kill $server 2>/dev/null" EXIT
  comes 'grep -q "^surva serves" said || ! kill -0 $server 2>/dev/null'
  address=$(grep -o 'https*://[^/]*' said) || cat error.log
}
# The exit code of the server that a signal ends.
end() { # SIGNAL
  kill "-$1" $server 2>/dev/null
  wait $server
}
