select server, root, length(path) + length(root) as characters, path
from fleet where scan in (select scan from latest) and characters > 259
order by characters desc, server, root, path;
