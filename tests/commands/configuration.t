Wrong use is one line that names the remedy, and exit code 2.

  $ . "$TESTDIR/helpers.sh"
  $ refused '' fly 'serve fly' 'serve --fly' 'serve init' 'init --listen localhost:80' backup
  :
  surva: say what to do, for instance surva serve; "surva --help" lists it
  fly:
  surva: The following argument was not expected: fly; "surva --help" and "surva serve --help" list what there is
  serve fly:
  surva: The following argument was not expected: fly; "surva --help" and "surva serve --help" list what there is
  serve --fly:
  surva: The following argument was not expected: --fly; "surva --help" and "surva serve --help" list what there is
  serve init:
  surva: The following argument was not expected: init; "surva --help" and "surva serve --help" list what there is
  init --listen localhost:80:
  surva: The following arguments were not expected: localhost:80 --listen; "surva --help" and "surva serve --help" list what there is
  backup:
  surva: FILE is required; "surva --help" and "surva serve --help" list what there is
  $ refused 'copy --from sqlite:a.db' 'anonymise --dry-run' 'anonymise --before 2024-02-30'
  copy --from sqlite:a.db:
  surva: --to is required; "surva --help" and "surva serve --help" list what there is
  anonymise --dry-run:
  surva: --before is required; "surva --help" and "surva serve --help" list what there is
  anonymise --before 2024-02-30:
  surva: --before must be a day such as 2024-01-31
  $ refused 'serve --workers' 'serve --workers many' 'serve --workers 99999999999999999999' 'serve --log-level loud'
  serve --workers:
  surva: --workers stands without its value; "surva --help" and "surva serve --help" tell what it takes
  serve --workers many:
  surva: --workers must be a whole number from 0 to 1024
  serve --workers 99999999999999999999:
  surva: --workers must be a whole number from 0 to 1024
  serve --log-level loud:
  surva: --log-level must be one of debug, info, warning, error
  $ refused 'serve --listen '{8080,:8080,localhost:,localhost:65536,::1:80,[::1]}
  serve --listen 8080:
  surva: listen must be HOST:PORT such as 127.0.0.1:8080 or [::1]:8080, not "8080"
  serve --listen :8080:
  surva: listen must be HOST:PORT such as 127.0.0.1:8080 or [::1]:8080, not ":8080"
  serve --listen localhost::
  surva: listen must be HOST:PORT such as 127.0.0.1:8080 or [::1]:8080, not "localhost:"
  serve --listen localhost:65536:
  surva: listen must be HOST:PORT such as 127.0.0.1:8080 or [::1]:8080, not "localhost:65536"
  serve --listen ::1:80:
  surva: listen must be HOST:PORT such as 127.0.0.1:8080 or [::1]:8080, not "::1:80"
  serve --listen [::1]:
  surva: listen must be HOST:PORT such as 127.0.0.1:8080 or [::1]:8080, not "::1"
  $ refused "serve --notice 'a"$'\t'"b'" 'serve --site /nonexistent/site' 'serve --max-body-kib 1025 --max-in-flight-mib 4'
  serve --notice 'a\tb': (esc)
  surva: --notice holds a control character; write it on one line, without tabs
  serve --site /nonexistent/site:
  surva: --site: there is no directory "/nonexistent/site"; name a copy of the directory site/
  serve --max-body-kib 1025 --max-in-flight-mib 4:
  surva: max-in-flight-mib must have room for four bodies of max-body-kib
  $ refused 'serve --config '{/nonexistent.toml,/tmp,/dev/null}
  serve --config /nonexistent.toml:
  surva: configuration file /nonexistent.toml: File could not be opened for reading
  serve --config /tmp:
  surva: configuration file /tmp is no regular file
  serve --config /dev/null:
  surva: configuration file /dev/null is no regular file

Numbers keep to their bounds, which the messages tell. What is given twice counts the last time.

  $ for name in $(surva serve --help | sed -n 's/^  --\([a-z-]*\) NUMBER.*/\1/p'); do
  >   words=$(surva serve --$name none 2>&1)
  >   [[ $words =~ from\ ([0-9]+)\ to\ ([0-9]+) ]] || echo "$name has no bounds"
  >   read -r least most <<<"${BASH_REMATCH[1]} ${BASH_REMATCH[2]}"
  >   echo "${words#*--}"
  >   for wrong in $((least - 1)) $((most + 1)); do [ "$(surva serve --$name $wrong --site /none 2>&1)" = "$words" ] || echo "takes $wrong"; done
  >   for right in $least $most; do surva serve --$name none --$name $right --max-in-flight-mib 1000 --site /none; done
  > done 2>&1 | grep -v 'surva: --site: there is no directory "/none"'
  database-wait must be a whole number from 0 to 86400
  workers must be a whole number from 0 to 1024
  queue-seconds must be a whole number from 1 to 60
  queue-mebibytes must be a whole number from 1 to 65536
  max-connections must be a whole number from 1 to 1000000
  max-connections-per-address must be a whole number from 1 to 1000000
  max-body-kib must be a whole number from 64 to 65536
  max-in-flight-mib must be a whole number from 4 to 1000000
  session-minutes must be a whole number from 1 to 43200
  staff-hours must be a whole number from 1 to 168
  staff-idle-minutes must be a whole number from 1 to 1440
  wrong-pins must be a whole number from 1 to 1000, or off
  public-writes must be a whole number from 1 to 1000000, or off
  history-days must be a whole number from 1 to 3650
  least-answers must be a whole number from 1 to 1000000
  mail-rate must be a whole number from 1 to 1000000
  slow-request-milliseconds must be a whole number from 1 to 600000, or off
  [2]
  $ surva serve --max-body-kib 1024 --max-in-flight-mib 4 --site /none
  surva: --site: there is no directory "/none"; name a copy of the directory site/
  [2]

The file says the line as well.

  $ file() { # TEXT...
  >   for text; do printf "$text\n" >surva.toml; refused 'check --config surva.toml'; done | sed '/^check/d'
  > }
  $ file 'colour = "red"' '[owner]\nauthor = "a"' 'author = "a\\r\\nb"' 'tls-key = "k.pem"'
  surva: configuration file surva.toml, line 1: colour is no key; "surva serve --help" lists them
  surva: configuration file surva.toml, line 1: owner is no key; "surva serve --help" lists them
  surva: configuration file surva.toml, line 1: author holds a control character; write it on one line, without tabs
  surva: TLS needs both tls-certificate and tls-key
  $ file '\nworkers = "off"' 'workers = -1' 'workers = 3.5' 'no-staff-guard = "yes"' 'log-level = "loud"'
  surva: configuration file surva.toml, line 2: workers must be a whole number
  surva: configuration file surva.toml, line 1: workers must be a whole number from 0 to 1024
  surva: configuration file surva.toml, line 1: workers must be a whole number
  surva: configuration file surva.toml, line 1: no-staff-guard must be true or false
  surva: configuration file surva.toml, line 1: log-level must be one of debug, info, warning, error
  $ file 'dsn = 7' 'dsn = ["a"]' 'dsn =' 'hostname = "http://x"' 'public-address = "https://a b"'
  surva: configuration file surva.toml, line 1: dsn must be a text in quotes
  surva: configuration file surva.toml, line 1: dsn must be a text in quotes
  surva: configuration file surva.toml, line 1: Error while parsing key-value pair: expected value, saw '\n'
  surva: configuration file surva.toml, line 1: hostname: "http://x" is no host name
  surva: public-address must be an address without blanks, such as https://surva.example
  $ file '\ntrusted-proxy = ["::1", "10.0.0.0/99"]' 'trusted-proxy = [1]' 'metrics-listen = "9464"'
  surva: configuration file surva.toml, line 2: trusted-proxy: "10.0.0.0/99" is no address and no range of addresses
  surva: configuration file surva.toml, line 1: trusted-proxy must be a text in quotes
  surva: metrics-listen must be HOST:PORT such as 127.0.0.1:8080 or [::1]:8080, not "9464"
  $ file '\nlisten = 127.0.0.1:81' 'mail-server = "smtp://"\nmail-sender = "a@b"'
  surva: configuration file surva.toml, line 2: listen must be a text in quotes: listen = "127.0.0.1:81"
  surva: mail-server must name a host, such as smtp://mail.example:587

It serves all commands, and the command line wins.

  $ printf '%s\n' 'dsn = "sqlite:a.db"' 'listen = "[::1]:443"' 'tls-certificate = "c"' 'tls-key = "k"' 'workers = 3' >surva.toml
  $ surva init --config surva.toml && ls *.db
  a.db
  $ surva demo --config surva.toml | grep -o 'https*://.*:[0-9]*/'
  https://[::1]:443/
  https://[::1]:443/
  https://[::1]:443/
  $ surva demo --config surva.toml --dsn sqlite:x.db --dsn sqlite:b.db --listen=localhost:81 | grep -o 'https*://.*:[0-9]*/'
  https://localhost:81/
  https://localhost:81/
  https://localhost:81/
  $ ls *.db
  a.db
  b.db
  $ surva demo --config surva.toml --dsn sqlite:/none/b.db
  surva: "/none/b.db": there is no folder "/none"; make it
  [2]

Help and version are asked for by flags and by words.

  $ for words in --version version 'serve --version' 'serve --listen 127.0.0.1:1 --version'; do surva $words; done | sed 's/ [0-9].*/ VERSION/'
  surva VERSION
  surva VERSION
  surva VERSION
  surva VERSION
  $ for words in --help -h help; do surva $words | md5sum; done | uniq | wc -l
  1
  $ surva --help
  surva: evaluates courses and trainers
  Usage: surva [OPTIONS] [SUBCOMMAND]
  
  Options:
    --version                   Display program version information and exit
    -h,--help                   Print this help and exit
  
  Subcommands:
    serve                       Serve the pages; makes or upgrades the tables first
    init                        Make or upgrade the tables; harmless when they stand
    demo                        Fill an empty database with a year of example data
    backup                      Write the database into a new file, also while it is served
    restore                     Put a backup in the place of the database
    check                       Look configuration and database over; changes nothing
    health                      Ask the surva that serves on this machine how it is
    copy                        Copy a database into an empty one, of either engine
    anonymise                   Take the names off students whose last event ended before a day
    staff                       Accounts: add NAME --role ROLE, remove NAME, password NAME, role NAME --role ROLE, list
    history                     List what was before changes and deletions, and put it back
  
  $ surva serve --help
  Serve the pages; makes or upgrades the tables first
  Usage: surva serve [OPTIONS]
  
  Options:
    --version                   Display program version information and exit
    -h,--help                   Print this help and exit
    --config FILE               TOML file with keys named as these options
    --dsn TEXT                  The database: sqlite:PATH or a postgresql:// address (default: sqlite:surva.db)
    --database-wait NUMBER      Seconds for which a PostgreSQL that is away is waited for at the start (default: 60)
    --listen TEXT               HOST:PORT on which to serve (default: 127.0.0.1:8080)
    --metrics-listen TEXT       HOST:PORT on which Prometheus finds /metrics, 127.0.0.1:9464 for instance; for no stranger's eyes (default: none)
    --site TEXT                 Directory of the static files, in place of those in the program (default: none)
    --no-staff-guard            Serve beyond this machine: something in front guards /admin/ from strangers
    --tls-certificate TEXT      PEM file of the certificate chain; serves HTTPS (default: none)
    --tls-key TEXT              PEM file of the certificate's private key (default: none)
    --trusted-proxy TEXT        Address or range (10.0.0.0/8) whose X-Forwarded headers count; may be given several times (default: none)
    --hostname TEXT             Name under which visitors reach the server, others are refused; may be given several times (default: none)
    --homepage TEXT             Address behind the link in the footer (default: /)
    --author TEXT               The owner's name in the author line of each page (default: surva)
    --notice TEXT               Text of the link in the footer (default: surva)
    --official TEXT             Address of the owner's web site (default: none)
    --workers NUMBER            Page threads of each kind (see the README); 0 is two for each processor, four to sixteen (default: 0)
    --queue-seconds NUMBER      How long a request may wait for a worker before it is turned away (default: 5)
    --queue-mebibytes NUMBER    Most memory for requests that wait (default: 64)
    --max-connections NUMBER    Most open connections (default: 10000)
    --max-connections-per-address NUMBER
                                Most open connections from one address, trusted proxies aside (default: 2500)
    --max-body-kib NUMBER       Longest body of a request, in KiB: what a form may hold (default: 1024)
    --max-in-flight-mib NUMBER  Memory of all requests and answers on their way, in MiB; others are turned away when it is full (default: 64)
    --session-minutes NUMBER    Idle minutes after which a visit ends (default: 1440)
    --staff-hours NUMBER        Hours after which staff sign in anew (default: 12)
    --staff-idle-minutes NUMBER Idle minutes after which staff sign in anew (default: 60)
    --wrong-pins NUMBER         Wrong PINs of one address before it must wait; off lets everybody guess (default: 10)
    --public-writes NUMBER      What one address may store in an hour through the public page, in writes of up to 16 KiB; or off (default: 2000)
    --history-days NUMBER       Days for which changed and deleted rows can be put back (default: 90)
    --public-address TEXT       The site as respondents reach it (https://surva.example), for links on paper and in mails (default: none)
    --readers TEXT              What respondents are told of who reads their answers (default: none)
    --least-answers NUMBER      An analyst sees no average of fewer answers of named forms (default: 5)
    --mail-server TEXT          smtp://HOST:PORT or smtps://HOST:PORT that takes invitations and reminders; none is sent without it (default: none)
    --mail-sender TEXT          Sender of mails: an address, or "Name <address>" (default: none)
    --mail-account TEXT         Account at the mail server, if it wants one (default: none)
    --mail-password-file TEXT   File whose first line is that account's password (default: none)
    --mail-tls TEXT             required or none: whether an smtp:// server must speak TLS (default: required)
    --mail-authority TEXT       PEM file of the authority behind the mail server's certificate, if the machine does not know it (default: none)
    --mail-rate NUMBER          Most mails in a minute, of all nodes (default: 60)
    --access-log TEXT           File of the access log; - is the standard output, off is none (default: -)
    --error-log TEXT            File of the error log; - is the standard error, off is none (default: -)
    --log-format TEXT           text or json (default: text)
    --slow-request-milliseconds NUMBER
                                A request that takes longer is a line of the error log, with what its statements took; or off (default: 1000)
    --log-level TEXT            debug, info, warning or error (default: info)
  
  $ for verb in backup copy anonymise staff history; do surva $verb --help | grep -v '(default'; done
  Write the database into a new file, also while it is served
  Usage: surva backup [OPTIONS] FILE
  
  Positionals:
    FILE REQUIRED               The backup to write; it must not stand yet
  
  Options:
    --version                   Display program version information and exit
    -h,--help                   Print this help and exit
    --config FILE               TOML file with keys named as these options
  
  Copy a database into an empty one, of either engine
  Usage: surva copy [OPTIONS]
  
  Options:
    --version                   Display program version information and exit
    -h,--help                   Print this help and exit
    --config FILE               TOML file with keys named as these options
    --from DSN REQUIRED         The database to copy: sqlite:PATH or a postgresql:// address
    --to DSN REQUIRED           The empty database to copy into
  
  Take the names off students whose last event ended before a day
  Usage: surva anonymise [OPTIONS]
  
  Options:
    --version                   Display program version information and exit
    -h,--help                   Print this help and exit
    --config FILE               TOML file with keys named as these options
    --before DATE REQUIRED      The day, such as 2024-01-31
    --dry-run                   Only tell how many they are
    --keep-texts                Leave what students wrote in answers
  
  Accounts: add NAME --role ROLE, remove NAME, password NAME, role NAME --role ROLE, list
  Usage: surva staff [OPTIONS] [ACT(0x)]
  
  Positionals:
    ACT                         What to do, and the account's name
  
  Options:
    --version                   Display program version information and exit
    -h,--help                   Print this help and exit
    --config FILE               TOML file with keys named as these options
    --role TEXT                 owner, planner, designer or analyst
  
  List what was before changes and deletions, and put it back
  Usage: surva history [OPTIONS]
  
  Options:
    --version                   Display program version information and exit
    -h,--help                   Print this help and exit
    --config FILE               TOML file with keys named as these options
    --table TEXT                Only changes of this table
    --person TEXT               Only changes by this account
    --day TEXT                  Only changes of this day, as 2026-11-21
    --request TEXT              Only changes of this request
    --change TEXT               The change to put back, by its number
    --put-back                  Put back the rows of --request or --change
  
