pragma journal_mode = off;
pragma synchronous = off;
pragma cache_size = -1000000;
create table f (dir text, name text, ext text, type text, size integer, modified text,
  accessed text, created text, attributes integer, uid integer, gid integer, links integer,
  inode integer, target text);
.mode csv
.import scan.csv f
