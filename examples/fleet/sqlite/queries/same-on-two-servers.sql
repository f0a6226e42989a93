with
  named as (
    select server, size, modified,
      substr(path, length(rtrim(path, replace(path, substr(path, 1, 1), ''))) + 1) as name
    from fleet where scan in (select scan from latest) and size > 0 and type = 'file'),
  per_server as (
    select name, size, modified, server, count(*) as copies
    from named group by name, size, modified, server order by server)
select name, size, modified, sum(copies) as copies, group_concat(server) as servers,
  size * (sum(copies) - 1) as reclaimable
from per_server group by name, size, modified having count(*) > 1
order by reclaimable desc, name, size, modified limit 1000;
