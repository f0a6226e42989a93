select server, iif(user = '', uid, user) as owner, count(*) as files, sum(size) as bytes
from fleet where scan in (select scan from latest)
group by server, owner order by bytes desc, server, owner;
