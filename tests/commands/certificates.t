Certificates and keys that will not do are told with a remedy, before anybody is served by them.

  $ . "$TESTDIR/helpers.sh"
  $ ask() { openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "$@" 2>/dev/null; }
  $ sign() { openssl x509 -req -in asked -CA issuer -CAkey issuer.key "$@" 2>/dev/null; }
  $ ask -x509 -days 90 -subj /CN=Issuer -keyout issuer.key -out issuer
  $ ask -subj /CN=site.example -keyout key -out asked
  $ sign -days 90 >own && cat own issuer >chain && cat issuer own >turned
  $ sign -days -1 >expired && sign -days 10 >expiring && openssl pkey -in key -aes128 -passout pass:x -out locked
  $ printf '[ca]\ndefault_ca=a\n[a]\ndatabase=index\nserial=serial\nnew_certs_dir=.\ndefault_md=sha256\npolicy=p\n[p]\n' >ca
  $ touch index && openssl ca -config ca -create_serial -batch -notext -selfsign -in asked -keyfile key -preserveDN \
  >   -startdate 20400101000000Z -enddate 20500101000000Z -out early 2>/dev/null
  $ surva init --dsn sqlite:a.db
  $ for pair in 'chain key' 'none key' 'key chain' 'chain issuer.key' 'turned key' 'turned issuer.key' 'chain locked' \
  >   'expiring key' 'expired key' 'early key'; do
  >   printf 'dsn = "sqlite:a.db"\nhostname = ["site.example"]\ntls-certificate = "%s"\ntls-key = "%s"\n' $pair >surva.toml
  >   echo "$pair:" && surva check --config surva.toml
  > done
  chain key:
  The configuration is fine. The database is sound.
  none key:
  trouble: none cannot be read: No such file or directory
    see its path, owner and mode
  The configuration will not do. The database is sound.
  key chain:
  trouble: key holds no certificate in PEM form
    name the file of the certificate chain
  trouble: chain holds no private key in PEM form
    name the file of the certificate's key
  The configuration will not do. The database is sound.
  chain issuer.key:
  trouble: issuer.key is not the key of the first certificate in chain
    put the server's certificate in front of its issuers'
  The configuration will not do. The database is sound.
  turned key:
  trouble: key is not the key of the first certificate in turned
    put the server's certificate in front of its issuers'
  trouble: turned: certificate 2 is not the issuer of the one in front of it
    put the server's certificate first, then each one's issuer
  warning: turned does not hold the name site.example (hostname)
    have it made out for that name
  The configuration will not do. The database is sound.
  turned issuer.key:
  trouble: turned: certificate 2 is not the issuer of the one in front of it
    put the server's certificate first, then each one's issuer
  warning: turned does not hold the name site.example (hostname)
    have it made out for that name
  The configuration will not do. The database is sound.
  chain locked:
  trouble: locked is locked by a password
    take it off (openssl pkey), and keep the file for its owner alone
  The configuration will not do. The database is sound.
  expiring key:
  warning: expiring expires within 14 days
    renew it
  The configuration is fine. The database is sound.
  expired key:
  trouble: expired has expired
    renew it
  The configuration will not do. The database is sound.
  early key:
  trouble: early does not hold yet
    see this machine's clock
  The configuration will not do. The database is sound.
  [1]
  $ for key in locked issuer.key; do surva serve --dsn sqlite:a.db --tls-certificate chain --tls-key $key; done 2>&1 |
  >   sed 's/: [^:]*$//'
  surva: cannot read the TLS key locked
  surva: cannot read the TLS key issuer.key
  [2]

So is a site that lacks files.

  $ mkdir half && printf 'dsn = "sqlite:a.db"\nsite = "half"\n' >surva.toml && surva check --config surva.toml | sed 's/and [0-9]* /and N /'
  warning: site: half lacks Java/Desk.js and N more style sheets and scripts
    name a copy of this version's own site folder
  The configuration is fine. The database is sound.
