-- The directories that grew most, with all below them, between the last two scans of each root.
select server, root, arrayJoin(above) as directory,
  sumIf(bytes, newest) as bytes_after, sumIf(bytes, not newest) as bytes_before,
  toInt64(bytes_after) - toInt64(bytes_before) as growth
from (
  -- `above`: the directory and all that hold it, the root (an empty path) among them.
  select server, root, newest, bytes,
    if(substring(dir, 1, 1) = '\\',
      arrayMap(depth -> arrayStringConcat(arraySlice(splitByChar('\\', dir), 1, depth), '\\'),
        arrayEnumerate(splitByChar('\\', dir))),
      arrayMap(depth -> arrayStringConcat(arraySlice(splitByChar('/', dir), 1, depth), '/'),
        arrayEnumerate(splitByChar('/', dir)))) as above
  from (
    select server, root, newest, dir, sum(size) as bytes
    from (
      select server, root, size,
        if(substring(path, 1, 1) = '\\',
          substring(path, 1, length(path) - position(reverse(path), '\\')),
          substring(path, 1, length(path) - position(reverse(path), '/'))) as dir,
        scan global in (select argMax(scan, scanned) from scans group by server, root) as newest
      from fleet
      where scan global in (
        select arrayJoin(arraySlice(arrayReverse(groupArray(scan)), 1, 2))
        from (select * from scans order by scanned)
        group by server, root
        having count() > 1))
    group by server, root, newest, dir))
group by server, root, directory
having growth > 0
order by growth desc, server, root, directory
limit 100;
