select 'ext', ext, count(*), sum(size) from f where ext <> '' group by ext order by 4 desc;
select 'uid', uid, count(*), sum(size) from f group by uid order by 4 desc;
select 'gid', gid, count(*), sum(size) from f group by gid order by 4 desc;
