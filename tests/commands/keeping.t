What an administrator trusts the data to: copies, backups and checks, on both engines.

  $ . "$TESTDIR/helpers.sh"
  $ make surva_kept
  $ make surva_copied
  $ kept=postgresql:///surva_kept copied=postgresql:///surva_copied
  $ surva init --dsn $copied
  $ psql -qd surva_copied -c "insert into Message (StudentID, Message) values (1, 'a remark')"
  $ surva demo --dsn $copied
  surva: the database holds data already; give demo an empty one with --dsn
  [2]
  $ make surva_copied
  $ surva demo --dsn $kept >demo

The demo data are known again where they are, and the same on the other engine.

  $ surva demo --dsn $kept | diff demo -
  $ surva demo --dsn sqlite:again.db | diff demo -

The last key is of a row that is gone, a table's whole; values that one engine or the other might bend; visits.

  $ psql -qd surva_kept <<'END'
  > delete from Message;
  > delete from Trainer where TrainerID=(select max(TrainerID) from Trainer);
  > update Company set Description='it''s "so" \ %_ ł ☃' where CompanyID=1;
  > update Company set City=NULL, Phone='' where CompanyID=2;
  > insert into VisitorSession (SessionKey, Contents) values ('visit', 'x');
  > insert into StaffSession (SessionKey, AccountKey) values ('visit', 'x');
  > END

Copied to the other engine and back again everything is what it was, keys that were given included; visits stay behind.
An empty database alone is copied into.

  $ rows() { pg_dump --data-only --inserts "$1" | grep -v 'restrict ' | sort; }
  $ surva copy --from $kept --to sqlite:a.db | sed 's/ *[0-9]*$//' | xargs
  Company Student Trainer Training Schedule Participant SurvaVersion Question FieldValue SurvaLayout Mark AnonymousStudent AnonymousMark Message EventClose MailText Outbox StaffAccount StaffBrowser WrongTry History rows copied
  $ surva copy --from sqlite:a.db --to $copied >/dev/null
  $ comm -3 <(rows surva_kept) <(rows surva_copied)
  INSERT INTO public.staffsession VALUES ('visit', 'x', 0, 0);
  INSERT INTO public.visitorsession VALUES ('visit', 'x', 0, 0);
  $ sqlite3 a.db "select Description from Company where CompanyID+0=1; select City is null, Phone||''='' from Company where CompanyID=2"
  it's "so" \\ %_ \xc5\x82 \xe2\x98\x83 (esc)
  1|1
  $ refused 'copy --from $kept --to $copied' 'copy --from $copied --to sqlite:a.db'
  copy --from $kept --to $copied:
  surva: the database to copy to holds data already (table Company); give an empty one
  copy --from $copied --to sqlite:a.db:
  surva: the database to copy to holds data already (table Company); give an empty one
  $ comm -3 <(rows surva_kept) <(rows surva_copied)
  INSERT INTO public.staffsession VALUES ('visit', 'x', 0, 0);
  INSERT INTO public.visitorsession VALUES ('visit', 'x', 0, 0);

A backup is of one moment, though others write: both rows or none. It is its owner's alone, with nothing left beside it.

  $ twice="begin; insert into Mark (StudentID) values (-7); insert into AnonymousMark (StudentID) values (-7); commit;"
  $ counts="select (select count(*) from Mark where StudentID=-7), (select count(*) from AnonymousMark where StudentID=-7)"
  $ while_others_write() { # DSN TOOL...
  >   "${@:2}" < <(yes "$twice") & writer=$!
  >   count() { "${query[@]}" <<<"$counts" | tr -cd 0-9; }
  >   query=("${@:2}")
  >   comes '[ "$(count)" -gt 0 ]'
  >   surva backup --dsn "$1" of-$2.db
  >   kill $writer; wait $writer 2>/dev/null
  >   sqlite3 of-$2.db "$counts" | awk -F'|' '{ print ($1 > 0), ($1 == $2) }'
  >   sqlite3 of-$2.db "select (select count(*) from VisitorSession) + (select count(*) from StaffSession)"
  >   stat -c '%a %n' of-$2.db*
  > }
  $ while_others_write $kept psql -qAtd surva_kept
  The database is in of-psql.db, checked and on disk.
  1 1
  0
  600 of-psql.db
  $ sqlite3 a.db "insert into VisitorSession (SessionKey) values ('visit'); insert into StaffSession (SessionKey) values ('visit')"
  $ while_others_write sqlite:a.db sqlite3 -cmd '.timeout 9000' a.db
  The database is in of-sqlite3.db, checked and on disk.
  1 1
  0
  600 of-sqlite3.db
  $ echo half >b.db.part
  $ refused 'backup --dsn $kept of-psql.db' 'backup --dsn $kept none/b.db' 'backup --dsn sqlite:a.db b.db'
  backup --dsn $kept of-psql.db:
  surva: "of-psql.db" stands already; give another name
  backup --dsn $kept none/b.db:
  surva: there is no folder "none"; make it
  backup --dsn sqlite:a.db b.db:
  surva: "b.db.part" stands already: another backup is being made, or was cut off; then remove it

What is restored is what was backed up; what stood there is kept beside it, and the owner stays who he was.

  $ echo 'Dear all, this is a letter and no backup, and long enough to be taken for one.' >letter
  $ refused 'restore --dsn sqlite:new.db '{letter,.,none.db} 'restore --dsn $kept of-psql.db'
  restore --dsn sqlite:new.db letter:
  surva: "letter" cannot be copied: file is not a database
  restore --dsn sqlite:new.db .:
  surva: "." is no file that could be restored
  restore --dsn sqlite:new.db none.db:
  surva: "none.db" is no file that could be restored
  restore --dsn $kept of-psql.db:
  surva: the database to copy to holds data already (table Company); give an empty one
  $ ls new.db*
  ls: cannot access 'new.db*': No such file or directory
  [2]
  $ surva restore --dsn sqlite:new.db of-psql.db
  of-psql.db is restored.
  $ refused 'restore --dsn sqlite:new.db new.db'
  restore --dsn sqlite:new.db new.db:
  surva: "new.db" is the database itself
  $ make surva_restored
  $ surva restore --dsn postgresql:///surva_restored new.db
  new.db is restored.
  $ surva backup --dsn postgresql:///surva_restored restored.db && diff <(sqlite3 restored.db .dump) <(sqlite3 of-psql.db .dump)
  The database is in restored.db, checked and on disk.
  $ diff <(sqlite3 new.db .dump) <(sqlite3 of-psql.db .dump)
  $ sqlite3 new.db "drop trigger Mark_delete; delete from Mark"
  $ chmod 640 new.db
  $ [ $(id -u) -ne 0 ] || chown 65534:65534 new.db
  $ stat -c '%u %g' new.db >owner
  $ sqlite3 new.db 'begin exclusive' '.shell surva restore --dsn sqlite:new.db of-psql.db'
  surva: "new.db" is in use; stop surva first (systemctl stop surva)
  System command returns 512
  $ surva restore --dsn sqlite:new.db of-psql.db | sed 's/-[0-9]*-[0-9]*/-NOW/'
  of-psql.db is restored.
  The file that was there before is kept as new.db.before-NOW.
  $ stat -c '%u %g' new.db | diff owner -
  $ stat -c %a new.db
  640
  $ diff <(sqlite3 new.db .dump) <(sqlite3 of-psql.db .dump)
  $ sqlite3 new.db.before-* 'select count(*) from Mark'
  0

A check tells what is wrong, and what to do.

  $ check() { surva check --dsn "$1" | sed -E 's/^remnant: [0-9]+/remnant: some/'; }
  $ check $copied
  remnant: some rows of Schedule with a TrainerID that is in no row of Trainer
    no need; the pages pass over them
  The configuration is fine. The database is sound.
  $ check sqlite:a.db
  remnant: some rows of Schedule with a TrainerID that is in no row of Trainer
    no need; the pages pass over them
  remnant: some rows of Mark with a StudentID that is in no row of Student
    no need; the pages pass over them
  remnant: some rows of AnonymousMark with a StudentID that is in no row of AnonymousStudent
    no need; the pages pass over them
  The configuration is fine. The database is sound.
  $ psql -qd surva_copied <<'END'
  > update Participant set PIN='12345' where ParticipantID in (1, 2);
  > update SurvaVersion set Valid=-1 where SurvaVersionID in (1, (select max(SurvaVersionID) from SurvaVersion));
  > delete from Company where CompanyID=1;
  > update Schedule set EndDate=NULL where ScheduleID=1;
  > END
  $ surva copy --from $copied --to sqlite:wrong.db >/dev/null
  $ psql -qd surva_copied <<'END'
  > alter table Mark disable trigger keep_history_delete;
  > update Schedule set BeginDate='infinity' where ScheduleID=2;
  > END
  $ psql -qAtd surva_copied -c "select setval('mark_markid_seq', (select max(MarkID)-1 from Mark))" >/dev/null
  $ check $copied
  damage: what is changed or deleted in table Mark is not kept in the history
    "surva init" makes what is missing
  damage: the counter of table Mark stands behind its rows
    copy the database into a new one (surva copy)
  remnant: some rows of Student with a CompanyID that is in no row of Company
    no need; the pages pass over them
  remnant: some rows of Schedule with a TrainerID that is in no row of Trainer
    no need; the pages pass over them
  damage: 1 value of BeginDate in table Schedule cannot be read as a day
    write them anew on the page of their rows, or restore a backup (surva restore)
  damage: 1 PIN is given to several participants
    remove them from their events and enrol them again, which gives new PINs
  damage: 2 survas are the default one
    choose one of them again on the page of survas
  damage: 1 event without dates stands in no calendar
    give them dates on the page of the event
  The configuration is fine. The database is not sound.
  [1]
  $ sqlite3 wrong.db <<'END'
  > drop trigger Mark_delete;
  > drop trigger Company_update;
  > drop trigger Schedule_update;
  > update Company set Description='a' || char(0) where CompanyID=2;
  > update Company set Description=cast(x'c328' as text) where CompanyID=3;
  > insert into Message (Message) select cast(x'c328' as text) from Mark limit 1500;
  > update Schedule set BeginDate='2026-02-31' where ScheduleID=2;
  > update sqlite_sequence set seq=seq-1 where name='Mark';
  > END
  $ check sqlite:wrong.db
  damage: what is changed or deleted in table Company is not kept in the history
    "surva init" makes what is missing
  damage: what is changed or deleted in table Schedule is not kept in the history
    "surva init" makes what is missing
  damage: what is changed or deleted in table Mark is not kept in the history
    "surva init" makes what is missing
  damage: the counter of table Mark stands behind its rows
    copy the database into a new one (surva copy)
  remnant: some rows of Student with a CompanyID that is in no row of Company
    no need; the pages pass over them
  remnant: some rows of Schedule with a TrainerID that is in no row of Trainer
    no need; the pages pass over them
  damage: 2 values of Description in table Company cannot be read as text
    write them anew on the page of their rows, or restore a backup (surva restore)
  damage: 1 value of BeginDate in table Schedule cannot be read as a day
    write them anew on the page of their rows, or restore a backup (surva restore)
  damage: 1500 values of Message in table Message cannot be read as text
    write them anew on the page of their rows, or restore a backup (surva restore)
  damage: 1 PIN is given to several participants
    remove them from their events and enrol them again, which gives new PINs
  damage: 2 survas are the default one
    choose one of them again on the page of survas
  damage: 1 event without dates stands in no calendar
    give them dates on the page of the event
  The configuration is fine. The database is not sound.
  [1]
  $ make surva_copied
  $ surva copy --from sqlite:wrong.db --to $copied
  surva: table Company cannot be copied: a text holds a zero byte; "surva check" of the database to copy from tells more; nothing was copied
  [2]

  $ printf '%08192d' 0 | dd of=new.db bs=4096 seek=40 conv=notrunc status=none
  $ surva check --dsn sqlite:new.db >said 2>&1; grep -qE 'is damaged|is malformed' said

What somebody has dropped is named at the start, and made again when asked for. Slow is not wrong.

  $ surva check --dsn sqlite:again.db
  The configuration is fine. The database is sound.
  $ sqlite3 again.db 'drop table Outbox'
  $ surva serve --dsn sqlite:again.db
  surva: the database is not whole: table Outbox is missing; "surva init" makes what is missing, empty; or restore a backup (surva restore)
  [2]
  $ surva init --dsn sqlite:again.db
  $ sqlite3 again.db 'drop index Mark_StudentID_ScheduleID'
  $ surva staff list --dsn sqlite:again.db
  surva: table Mark has 1 of its 2 indexes, its pages are slow; "surva init" makes what is missing
  $ surva init --dsn sqlite:again.db
  $ surva check --dsn sqlite:again.db
  The configuration is fine. The database is sound.
  $ sqlite3 again.db "update sqlite_sequence set seq=seq-1 where name='Mark'"
  $ surva copy --from sqlite:again.db --to sqlite:counted.db >/dev/null
  $ surva check --dsn sqlite:counted.db
  The configuration is fine. The database is sound.
  $ psql -qd surva_restored -c 'alter table Message rename column Message to Remark' -c 'drop table Mark'
  $ surva serve --dsn postgresql:///surva_restored
  surva: the database is not whole: table Mark is missing, and 1 more; "surva init" makes what is missing, empty; or restore a backup (surva restore)
  [2]
  $ check postgresql:///surva_restored
  damage: table Mark is missing
    "surva init" makes what is missing, empty; or restore a backup (surva restore)
  damage: column Message of table Message is missing
    "surva init" makes what is missing, empty; or restore a backup (surva restore)
  The configuration is fine. The database is not sound.
  [1]
  $ surva init --dsn postgresql:///surva_restored
  $ check postgresql:///surva_restored
  remnant: some rows of Schedule with a TrainerID that is in no row of Trainer
    no need; the pages pass over them
  remnant: some rows of AnonymousMark with a StudentID that is in no row of AnonymousStudent
    no need; the pages pass over them
  The configuration is fine. The database is sound.
