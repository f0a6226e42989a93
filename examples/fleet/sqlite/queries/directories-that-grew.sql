with recursive
  ranked as (
    select scan, row_number() over (partition by server, root order by scanned desc) as rank,
      count(*) over (partition by server, root) as nights from scans),
  own(server, root, newest, separator, dir, bytes) as (
    select server, root, rank = 1, substr(path, 1, 1),
      rtrim(rtrim(path, replace(path, substr(path, 1, 1), '')), substr(path, 1, 1)) as dir, sum(size)
    from fleet join ranked using (scan) where rank <= 2 and nights > 1
    group by server, root, rank, dir),
  above as (
    select * from own
    union all
    select server, root, newest, separator,
      rtrim(rtrim(dir, replace(dir, separator, '')), separator), bytes
    from above where dir <> '')
select server, root, dir as directory,
  coalesce(sum(bytes) filter (where newest), 0) as bytes_after,
  coalesce(sum(bytes) filter (where not newest), 0) as bytes_before,
  coalesce(sum(bytes) filter (where newest), 0) - coalesce(sum(bytes) filter (where not newest), 0) as growth
from above group by server, root, directory
having growth > 0 order by growth desc, server, root, directory limit 100;
