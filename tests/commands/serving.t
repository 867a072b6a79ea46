The server as its administrator meets it: accounts, signals, certificates, logs.

  $ . "$TESTDIR/helpers.sh"

Until there is an account, surva serves this machine alone, unless something in front of it guards the staff pages.

  $ refused 'serve --listen '{0.0.0.0:80,192.0.2.1:80,[::]:80,example.org:80,127.0.0.1.example.org:80}
  serve --listen 0.0.0.0:80:
  surva: listening on 0.0.0.0:80 would open /admin/ to the network; make an account first (surva staff add NAME --role owner), listen on 127.0.0.1, or say with --no-staff-guard that something in front guards /admin/
  serve --listen 192.0.2.1:80:
  surva: listening on 192.0.2.1:80 would open /admin/ to the network; make an account first (surva staff add NAME --role owner), listen on 127.0.0.1, or say with --no-staff-guard that something in front guards /admin/
  serve --listen [::]:80:
  surva: listening on [::]:80 would open /admin/ to the network; make an account first (surva staff add NAME --role owner), listen on 127.0.0.1, or say with --no-staff-guard that something in front guards /admin/
  serve --listen example.org:80:
  surva: listening on example.org:80 would open /admin/ to the network; make an account first (surva staff add NAME --role owner), listen on 127.0.0.1, or say with --no-staff-guard that something in front guards /admin/
  serve --listen 127.0.0.1.example.org:80:
  surva: listening on 127.0.0.1.example.org:80 would open /admin/ to the network; make an account first (surva staff add NAME --role owner), listen on 127.0.0.1, or say with --no-staff-guard that something in front guards /admin/
  $ refused 'serve --listen 192.0.2.1:80 --no-staff-guard'
  serve --listen 192.0.2.1:80 --no-staff-guard:
  surva: cannot listen on 192.0.2.1:80: Cannot assign requested address; name an address of this machine with --listen
  $ refused 'serve --tls-certificate none --tls-key none --listen '{127.0.0.1:80,127.1.2.3:0,localhost:80,[::1]:80}
  serve --tls-certificate none --tls-key none --listen 127.0.0.1:80:
  surva: cannot read the TLS certificate none: No such file or directory
  serve --tls-certificate none --tls-key none --listen 127.1.2.3:0:
  surva: cannot read the TLS certificate none: No such file or directory
  serve --tls-certificate none --tls-key none --listen localhost:80:
  surva: cannot read the TLS certificate none: No such file or directory
  serve --tls-certificate none --tls-key none --listen [::1]:80:
  surva: cannot read the TLS certificate none: No such file or directory
  $ surva staff add paul --role planner <<<'four white storks'
  surva: The first account must be an owner's.
  [2]
  $ surva staff add anna --role owner <<<'three blue cranes'
  $ surva staff add paul --role planner <<<'four white storks'
  $ refused 'serve --listen 192.0.2.1:80' 'serve --access-log /nonexistent/log' 'history --table Nope'
  serve --listen 192.0.2.1:80:
  surva: cannot listen on 192.0.2.1:80: Cannot assign requested address; name an address of this machine with --listen
  serve --access-log /nonexistent/log:
  surva: a log cannot be written: /nonexistent/log: No such file or directory
  history --table Nope:
  surva: --table must be one of Company, Student, Trainer, Training, Schedule, Participant, SurvaVersion, Question, FieldValue, SurvaLayout, Mark, AnonymousStudent, AnonymousMark, Message
  $ refused staff 'staff add --role owner' 'staff add x --role king' 'staff fly x' 'staff remove nobody'
  staff:
  surva: say surva staff add NAME --role ROLE, remove NAME, password NAME, role NAME --role ROLE, or list
  staff add --role owner:
  surva: say surva staff add NAME --role ROLE, remove NAME, password NAME, role NAME --role ROLE, or list
  staff add x --role king:
  surva: --role must be one of owner, planner, designer, analyst
  staff fly x:
  surva: surva staff does not know "fly"; it knows add, remove, password, role and list
  staff remove nobody:
  surva: There is no account of that name.
  $ refused 'staff remove anna' 'staff role anna --role analyst' 'staff password nobody' <<<'three blue cranes'
  staff remove anna:
  surva: One owner must remain.
  staff role anna --role analyst:
  surva: One owner must remain.
  staff password nobody:
  surva: There is no account of that name.
  $ for name in ANNA '' 'a b' '<b>' annä; do refused "staff add '$name' --role owner" <<<'three blue cranes'; done
  staff add 'ANNA' --role owner:
  surva: There is an account of that name already.
  staff add '' --role owner:
  surva: A name is made of letters without accents, digits, ".", "-", "_" and "@", 60 at most.
  staff add 'a b' --role owner:
  surva: A name is made of letters without accents, digits, ".", "-", "_" and "@", 60 at most.
  staff add '<b>' --role owner:
  surva: A name is made of letters without accents, digits, ".", "-", "_" and "@", 60 at most.
  staff add 'ann\xc3\xa4' --role owner: (esc)
  surva: A name is made of letters without accents, digits, ".", "-", "_" and "@", 60 at most.
  $ for easy in short aaaaaaaaaaaa Password123! 1234567890 Bert1234567890 ab12345678 ęęęęęABCD; do
  >   refused 'staff add bert --role owner' <<<$easy
  > done
  staff add bert --role owner:
  surva: A password has at least 10 characters.
  staff add bert --role owner:
  surva: That password is one of the first that others would try.
  staff add bert --role owner:
  surva: That password is one of the first that others would try.
  staff add bert --role owner:
  surva: That password is one of the first that others would try.
  staff add bert --role owner:
  surva: That password is one of the first that others would try.
  staff add bert --role owner:
  surva: That password is one of the first that others would try.
  staff add bert --role owner:
  surva: A password has at least 10 characters.
  $ surva staff role paul --role analyst
  $ surva staff password paul <<<$'five grey herons\r'
  $ surva staff list
  anna\towner (esc)
  paul\tanalyst (esc)

Signals

  $ certificate() { openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 90 -subj /CN=$1 -keyout key.pem -out certificate.pem 2>/dev/null; }
  $ certificate first
  $ touch error.log
  $ export JOURNAL_STREAM=$(stat -c %d:%i error.log)
  $ serve --tls-certificate certificate.pem --tls-key key.pem --access-log access.log
  $ hello() { openssl s_client -connect ${address#https://} "$@" </dev/null 2>/dev/null | sed -nE 's/.*(CN = .*|Cipher is .*)/\1/p' | uniq; }
  $ hello
  CN = first
  Cipher is TLS_AES_256_GCM_SHA384
  $ hello -tls1_2
  CN = first
  Cipher is ECDHE-ECDSA-AES256-GCM-SHA384
  $ for weak in '-tls1_2 -cipher ECDHE-ECDSA-AES128-SHA256' '-tls1_2 -cipher AES128-GCM-SHA256' \
  >   '-tls1_2 -cipher DHE-RSA-AES128-GCM-SHA256' '-tls1_3 -groups ffdhe2048' -tls1_1; do hello $weak; done
  Cipher is (NONE)
  Cipher is (NONE)
  Cipher is (NONE)
  Cipher is (NONE)
  Cipher is (NONE)
  [1]
  $ for stray in USR1 USR2 ALRM PIPE RTMIN+3; do kill -$stray $server; done
  $ mv access.log access.log.1
  $ certificate second
  $ kill -HUP $server
  $ comes 'hello | grep -q second'
  $ curl -skI $address/after | grep Strict
  Strict-Transport-Security: max-age=31536000\r (esc)
  $ comes 'grep -q /after access.log'
  $ echo 'no key' >key.pem
  $ kill -HUP $server
  $ comes 'grep -q "TLS key" error.log'
  $ sed -E 's/>.* (info|error)/> \1/; s/(key.pem: ).*/\1.../; s/surva [0-9].* on/surva VERSION on/' error.log
  <6> info surva VERSION on SQLite, time zone GMT
  <6> info logs, certificate and key are read anew
  <3> error what was before stays: cannot read the TLS key key.pem: ...
  $ hello
  CN = second
  Cipher is TLS_AES_256_GCM_SHA384
  $ kill -TERM $server
  $ end HUP

Each request is a line of the access log, with no PIN and no line of a visitor's own; files and command line say what is
trusted, the command line in place of the file.

  $ printf '%s\n' 'access-log = "access.log"' 'author = "Müller & Söhne"' 'trusted-proxy = ["10.0.0.1", "127.0.0.1"]' >surva.toml
  $ log() { sed -E 's/[0-9-]{10}T[0-9:.+]*/TIME/; s/[0-9.]+ms/0ms/; s/0{299}/NULLS/; s/[0-9a-f]{16}/ID/; s/(seconds":)[0-9.]+/\10.0/; s/surva [0-9].* on/surva VERSION on/' $1.log; rm $1.log; }
  $ ask() { exec 3<>/dev/tcp/127.0.0.1/${address##*:}; printf "$1 HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n" >&3; head -n 1 <&3; exec 3>&-; }
  $ forwarded() { curl -s -H 'X-Forwarded-For: 198.51.100.7' $address/surva.asp | grep -ao '<meta name="*author[^>]*>'; }
  $ log access
  TIME 127.0.0.1 "HEAD /after" 404 0 0ms ID
  $ serve --config surva.toml
  $ forwarded
  <meta name="author" CONTENT="M\xfcller & S\xf6hne"> (esc)
  $ ask 'GET /a?PIN=777&x=1&pin=9&&PI%%4e=12345&%%50%%69N=9&spin=1&b&PIN&pin='
  HTTP/1.1 404 Not Found\r (esc)
  $ ask 'GET /PIN=1'
  HTTP/1.1 404 Not Found\r (esc)
  $ ask 'HEAD /b'
  HTTP/1.1 404 Not Found\r (esc)
  $ ask 'GET /%%zz'
  HTTP/1.1 400 Bad Request\r (esc)
  $ ask 'rubbish "x'
  HTTP/1.1 501 Not Implemented\r (esc)
  $ ask 'GET /{}%%s~\x7f\xff\x1b[2J'
  HTTP/1.1 400 Bad Request\r (esc)
  $ ask "GET /$(printf '%0400d' 0)"
  HTTP/1.1 404 Not Found\r (esc)
  $ end TERM
  $ log access
  TIME 198.51.100.7 "GET /surva.asp" 200 1579 0ms ID
  TIME 127.0.0.1 "GET /a?PIN=...&x=1&pin=...&&PI%4e=...&%50%69N=...&spin=1&b&PIN&pin=..." 404 693 0ms ID
  TIME 127.0.0.1 "GET /PIN=1" 404 693 0ms ID
  TIME 127.0.0.1 "HEAD /b" 404 0 0ms ID
  TIME 127.0.0.1 "GET /%zz" 400 608 0ms ID
  TIME 127.0.0.1 "rubbish \x22x" 501 616 0ms ID
  TIME 127.0.0.1 "- GET /{}%s~\x7f\xff\x1b[2J HTTP/1.1" 400 608 0ms ID
  TIME 127.0.0.1 "GET /NULLS..." 404 693 0ms ID
  $ serve --config surva.toml --log-format json --trusted-proxy 10.0.0.3
  $ forwarded
  <meta name="author" CONTENT="M\xfcller & S\xf6hne"> (esc)
  $ ask 'GET /"\\?PIN=1'
  HTTP/1.1 400 Bad Request\r (esc)
  $ end TERM
  $ log access
  {"time":"TIME","level":"info","request":"ID","client":"127.0.0.1","method":"GET","target":"/surva.asp","status":200,"bytes":1579,"milliseconds":0.0}
  {"time":"TIME","level":"info","request":"ID","client":"127.0.0.1","method":"GET","target":"/\\x22\\x5c?PIN=...","status":400,"bytes":608,"milliseconds":0.0}
  $ log error
  <6>{"time":"TIME","level":"info","text":"surva VERSION on SQLite, time zone GMT"}

The passwords are those that were set last. What is slow is told; the journal learns how much a line matters.

  $ touch error.log
  $ JOURNAL_STREAM=$(stat -c %d:%i error.log) serve --access-log off --log-level warning --slow-request-milliseconds 1
  $ sign_in() { curl -s -o /dev/null -w '%{http_code}\n' -d "Name=$1&Password=$2" $address/admin/sign-in; }
  $ sign_in paul 'five grey herons'
  303
  $ sign_in paul 'four white storks'
  403
  $ end TERM
  $ sed -E 's/>.* warning [0-9a-f]*/> warning ID/; s/[0-9]+ ms/N ms/g; s/[1-9][0-9]* statements in.*/N statements.../' error.log
  <4> warning ID /admin/sign-in: slow, N ms, N statements...
  <4> warning ID /admin/sign-in: slow, N ms, N statements...

A log whose reader is slow holds nobody up, neither the other log nor the end. What finds no room is dropped, and its
number told; behind that all rests.

  $ mkfifo slow; exec 9<>slow
  $ serve --access-log slow
  $ ask_much() { curl -s "$address/[1-$1]?$(printf '%0300d' 0)" >/dev/null; }
  $ ask_much 9000
  $ kill -HUP $server
  $ comes 'grep -q "read anew" error.log'
  $ cat slow 9>&- >lines & reader=$!
  $ comes 'grep -q dropped error.log'
  $ turns() { for _ in {1..20}; do cat /proc/$server/task/*/status; sleep 0.05; done | grep -c 'State:.R'; }
  $ comes 'test $(turns) -lt 10'
  $ end TERM
  $ exec 9>&-; wait $reader
  $ expr $(wc -l <lines) + $(sed -n 's/.* \([0-9]*\) lines of the access log were dropped.*/\1/p' error.log)
  9000
  $ exec 9<>slow; serve --access-log slow; ask_much 500
  $ end TERM

Its health is asked for; its database is for its owner alone; two cannot have one port.

  $ echo 'hostname = ["survey.example"]' >surva.toml
  $ serve --access-log off --config surva.toml
  $ at=${address#http://}
  $ surva health --listen $at --config surva.toml | sed 's/version: .*/version: .../'
  ok
  version: ...
  database: SQLite, reads and writes
  requests that wait: 0
  $ stat -c '%a %n' surva.db*
  600 surva.db
  600 surva.db-shm
  600 surva.db-wal
  $ surva serve --listen $at 2>&1 | sed "s/$at/ADDRESS/"
  surva: cannot listen on ADDRESS: Address already in use; stop the program that has the port, or give another --listen
  [2]
  $ surva serve --listen 127.0.0.1:0 --metrics-listen $at 2>&1 | sed "s/$at/ADDRESS/"
  surva: nothing can listen on ADDRESS: it is in use, or no address of this machine; see metrics-listen
  [2]
  $ end TERM
  $ surva health --listen $at 2>&1 | sed "s/$at.*/ADDRESS.../"
  surva: nobody answers at http://ADDRESS...
  [69]

One owner remains as long as there are others.

  $ surva staff remove paul && surva staff role anna --role analyst
  surva: One owner must remain.
  [2]
  $ surva staff remove anna && surva staff list
