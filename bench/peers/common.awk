# Before every W*.awk; several of them together do their work in one pass. A row has dir, name, ext,
# type, size, modified, accessed, created, attributes, uid, gid, links, inode, target. `out` is the
# directory of the results.
BEGIN { FS = "," }
FNR == 1 { ++pass }
END { if (!pass) exit 1 }
