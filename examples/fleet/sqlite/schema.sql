-- The tables of ../schema.sql for one machine: SQLite in place of the cluster. ./load fills them.
create table if not exists scans (
  scan text primary key, day text, server text, root text, scanned text,
  files integer, directories integer, bytes integer);
create table if not exists entries (
  scan text, server text, root text, scanned text, path text, ext text, type text, size integer,
  modified text, accessed text, created text, user text, "group" text, uid integer, gid integer,
  mode text, attrs text, inode integer, links integer, streams integer, flags integer, target text);
create index if not exists entries_by_scan on entries (scan);
create table if not exists accounts (
  scan text, server text, root text, scanned text, class text, account text, uses integer,
  owned integer);

create view if not exists fleet as select * from entries where type <> 'dir';
create view if not exists latest as
  select scan, server, root, max(scanned) as scanned from scans group by server, root;
