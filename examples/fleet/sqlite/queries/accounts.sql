select class, account, count(*) as roots, sum(uses) as used, sum(owned) as owns
from accounts where scan in (select scan from latest)
group by class, account order by used desc, class, account;
