The figures for Prometheus, on both engines: they count what is done, and hold whatever the dashboard asks for.

  $ . "$TESTDIR/helpers.sh"
  $ make surva_figures
  $ dashboard=$TESTDIR/../../deploy/grafana.json
  $ asked=$(sed -nE 's/.*(surva_[a-z_]+)\{([a-z]+)[=!].*/\1 \2/p; s/.*by \(([a-z]+).*rate\((surva_[a-z_]+).*/\2 \1/p' $dashboard | sort -u)
  $ echo "$asked"
  surva_mails state
  surva_refusals_total rule
  surva_request_duration_seconds_bucket le
  surva_requests_total status
  surva_statement_duration_seconds_count effect
  surva_statement_duration_seconds_sum effect
  $ ask() { curl -s -o /dev/null -H 'X-Forwarded-For: 198.51.100.7' "$@"; }
  $ shell() { case $dsn in sqlite*) sqlite3 -cmd '.timeout 9000' figures.db ;; *) psql -qd surva_figures ;; esac; }
  $ for dsn in sqlite:figures.db postgresql:///surva_figures; do
  >   pin=$(surva demo --dsn $dsn | sed -n 's/^  \([0-9]\{4,\}\)  .*/\1/p' | head -n 1)
  >   surva staff add anna --role owner --dsn $dsn <<<'three blue cranes'
  >   serve --dsn $dsn --access-log off --metrics-listen 127.0.0.1:0 --wrong-pins 1 --trusted-proxy 127.0.0.1
  >   shell <<<'insert into Outbox (State) values (4); drop table Message;'
  >   ask -c cookies -d 'Name=anna&Password=three blue cranes' $address/admin/sign-in
  >   ask -b cookies $address/admin/stat.asp?Remarks=1
  >   ask -d PIN=$pin $address/surva.asp
  >   ask "$address/nothing[1-150]"; ask "$address/%zz[1-150]"; ask -X PUT "$address/fill[1-150]"; ask "$address/admin/nothing[1-150]"
  >   comes '[ $(ask -w "%{http_code}" -d PIN=none $address/SURVA.ASP?x=1) = 429 ]'
  >   ask $address/fill
  >   told() { curl -s http://127.0.0.1:$(sed -n 's/.* on port //p' error.log)/metrics >told; }
  >   comes 'told; grep -q "other.*200" told'
  >   grep -E '^surva_(requests|queue|database_(up|conn)|mails|sessions|refusals|wrong|[a-z_]*failures|statement[a-z_]*count)' told |
  >     sed -E '/"\/admin\/nothing/d; s/((read|write|note|flush)"\}|connections|wrong_pins_total|surva.asp",status="200"\}) [1-9].*/\1 some/' | sort
  >   grep -c '^surva_requests_total' told
  >   for figure in $(grep -o 'surva_[a-z_]*' $dashboard | sort -u); do grep -q "^$figure" told || echo "no $figure"; done
  >   while read -r figure label; do grep -q "^$figure{.*$label=\"" told || echo "no $label of $figure"; done <<<"$asked"
  >   end TERM
  > done
  surva_database_connections some
  surva_database_up 1
  surva_mails{state="claimed"} 0
  surva_mails{state="doubtful"} 0
  surva_mails{state="failed"} 0
  surva_mails{state="leaving"} 0
  surva_mails{state="needless"} 0
  surva_mails{state="sent"} 1
  surva_mails{state="waiting"} 0
  surva_queue_length 0
  surva_refusals_total{rule="foreign"} 0
  surva_refusals_total{rule="look-first"} 0
  surva_refusals_total{rule="pin-wait"} 1
  surva_refusals_total{rule="public-writes"} 0
  surva_refusals_total{rule="role"} 0
  surva_refusals_total{rule="sign-in"} 150
  surva_refusals_total{rule="sign-in-wait"} 0
  surva_refusals_total{rule="unguarded"} 0
  surva_requests_total{page="/admin/sign-in",status="303"} 1
  surva_requests_total{page="/admin/stat.asp",status="200"} 1
  surva_requests_total{page="/surva.asp",status="200"} some
  surva_requests_total{page="/surva.asp",status="429"} 1
  surva_requests_total{page="other",status="200"} 1
  surva_requests_total{page="other",status="303"} 53
  surva_requests_total{page="other",status="400"} 150
  surva_requests_total{page="other",status="404"} 150
  surva_requests_total{page="other",status="405"} 150
  surva_sessions 1
  surva_statement_duration_seconds_count{effect="commit"} 1
  surva_statement_duration_seconds_count{effect="flush"} some
  surva_statement_duration_seconds_count{effect="note"} some
  surva_statement_duration_seconds_count{effect="read"} some
  surva_statement_duration_seconds_count{effect="write"} some
  surva_statement_failures_total 1
  surva_wrong_passwords_total 0
  surva_wrong_pins_total some
  106
  surva_database_connections some
  surva_database_up 1
  surva_mails{state="claimed"} 0
  surva_mails{state="doubtful"} 0
  surva_mails{state="failed"} 0
  surva_mails{state="leaving"} 0
  surva_mails{state="needless"} 0
  surva_mails{state="sent"} 1
  surva_mails{state="waiting"} 0
  surva_queue_length 0
  surva_refusals_total{rule="foreign"} 0
  surva_refusals_total{rule="look-first"} 0
  surva_refusals_total{rule="pin-wait"} 1
  surva_refusals_total{rule="public-writes"} 0
  surva_refusals_total{rule="role"} 0
  surva_refusals_total{rule="sign-in"} 150
  surva_refusals_total{rule="sign-in-wait"} 0
  surva_refusals_total{rule="unguarded"} 0
  surva_requests_total{page="/admin/sign-in",status="303"} 1
  surva_requests_total{page="/admin/stat.asp",status="200"} 1
  surva_requests_total{page="/surva.asp",status="200"} some
  surva_requests_total{page="/surva.asp",status="429"} 1
  surva_requests_total{page="other",status="200"} 1
  surva_requests_total{page="other",status="303"} 53
  surva_requests_total{page="other",status="400"} 150
  surva_requests_total{page="other",status="404"} 150
  surva_requests_total{page="other",status="405"} 150
  surva_sessions 1
  surva_statement_duration_seconds_count{effect="commit"} 1
  surva_statement_duration_seconds_count{effect="flush"} 0
  surva_statement_duration_seconds_count{effect="note"} some
  surva_statement_duration_seconds_count{effect="read"} some
  surva_statement_duration_seconds_count{effect="write"} some
  surva_statement_failures_total 1
  surva_wrong_passwords_total 0
  surva_wrong_pins_total some
  106
