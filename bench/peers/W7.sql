select dir || '/' || name, iif(attributes & 16, 'D', 'F'), size, created, modified, accessed, links,
  inode, uid, gid, target, attributes & 4095
from f where type <> 'dir';
