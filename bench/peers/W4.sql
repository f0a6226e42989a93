-- "cross join" keeps the order of the tables: the large one is walked once.
create temp table groups (size integer, modified text, ext text, members integer,
  primary key (size, modified, ext)) without rowid;
insert into groups select size, modified, ext, count(*) from f
  where type <> 'dir' and not attributes & 16 group by 1, 2, 3 having count(*) > 1;
select dir || '/' || name from f cross join groups using (size, modified, ext)
  where type <> 'dir' and not attributes & 16 order by size desc, members desc, ext, modified;
