/* The help as its reader sees it, written out in full: each knob with the kind of
 * real card that behaves so. */
#include "tools/cardsim/arguments.h"

namespace cardsim {

std::string_view help_text() {
    return R"(trovik-cardsim - mounts a simulated memory card as a folder

Usage: trovik-cardsim MOUNTPOINT [options]
Unmount with: fusermount3 -u MOUNTPOINT

Files stored in MOUNTPOINT are kept in the card's sectors of 512 bytes. New
sectors are taken in the order of writing, sector 0 first; sectors of removed
files are used again, lowest first. Without options the card is sound. Options
can be combined freely. Nothing survives unmounting. With --image there is one
file with the sectors themselves instead.

SIZE is in bytes, or with K, M, G or T in powers of 1024 (64K, 2G). Sectors are
numbered as the host sees them, from 0.

The size of the card
  --size=SIZE           The announced size, 64M if not given. What every card
                        has printed on it and tells the host.
  --real-size=SIZE      What the card really keeps; the announced size if not
                        given. Smaller on counterfeits: a cheap small chip whose
                        controller was told to report a large one.
  --beyond=KIND         What lies past the real size:
      wrap              sector n lands on n modulo the real size, so late files
                        overwrite early ones. A counterfeit whose controller
                        leaves out the upper address lines.
      wrap-last=SIZE    folded into the last SIZE bytes of the real size. A
                        counterfeit that takes care of its beginning, so that
                        the file system's tables there stay alive.
      drop-00, drop-ff  writes vanish, reads give bytes 0x00 / 0xFF. The
                        counterfeit that answers for addresses it does not have
                        with an empty bus or erased flash. Without --beyond:
                        drop-00.
      garbage           writes vanish, reads give random bytes, the same each
                        time. A counterfeit that answers with whatever is left
                        in a buffer or in unmapped flash.
  --full-at=SIZE        Full once this much is allocated, whatever was promised.
                        Smaller than --size: a card whose spare blocks are used
                        up, or a file system that needs the rest for itself.
                        Larger: a file system that counts too carefully; the
                        free space shown reaches 0 and writing goes on.
  --root-entries=N      The root folder takes so many entries; one more fails
                        (ENOSPC). FAT12 and FAT16 keep a fixed room for it.
  --statfs-free=SIZE    Always tells this free space. A file system with a stale
                        or damaged free-space count.
  --statfs-fails        Asking for the free space fails (EIO). A card whose file
                        system tables can no longer be read.

What it is presented as
  --image               Without a file system: one file, card.img, of the
                        announced size, sector n at byte n * 512. Reading it
                        always asks the card. Attached to a loop device
                        (losetup --find --show MOUNTPOINT/card.img) it is the
                        bare card that any file system can be put on.
  --contents=FILE       With --image: what the card holds at first is copied
                        from FILE, holes left out. A card that somebody has
                        formatted and used before it went bad.

Where it is kept
  --backing=FILE        Keeps the sectors in FILE, sector n at byte n * 512, so
                        that others can look at them. FILE is created, or
                        must be empty. Without it: in memory. Of a FILE that is
                        not in memory (tmpfs), the system keeps a copy there:
                        trovik-cli calls such a card unproven, not intact.
  --seed=N              Where the chance of --flip-rate and garbage starts, 0 if
                        not given. The same seed makes the same card.

Speed
  --write-rate=SIZE     Bytes per second. A slow card, or a fast one behind a
  --read-rate=SIZE      slow reader or a USB 1 port.
  --write-latency-us=N  Microseconds for each request. A card that collects its
  --read-latency-us=N   garbage while you wait, or a reader with a slow
                        protocol.
  --slow-after=SIZE     After so many bytes written, at a hundredth of
                        --write-rate. A card whose fast part is full.
  --stall-every=SIZE    Each time so many bytes were written and read, nothing
  --stall-seconds=N     is answered for N seconds, 10 if not given. A card that
                        tidies up or corrects errors on its own.

Dying flash
  --flip=SECTOR:BIT[,SECTOR:BIT...]
                        This bit (0 to 4095, from the sector's first byte and
                        its lowest bit) is read flipped. A worn cell that error
                        correction no longer mends. May be repeated.
  --flip-rate=P         Each sector has one flipped bit with probability P (0 to
                        1). A card worn out evenly, or stored too long and too
                        warm.
  --misread=SECTOR:OTHER[,SECTOR:OTHER...]
                        Reading SECTOR gives what OTHER holds. A controller
                        whose table of what lies where is damaged. May be
                        repeated.
  --read-error=FIRST[-LAST][,...]
                        Reading these sectors fails (EIO). Dead blocks that the
                        card knows of and admits. May be repeated.
  --write-error=FIRST[-LAST][,...]
                        Writing these sectors fails (EIO). Blocks that can no
                        longer be erased. May be repeated.
  --fsync-fails         Flushing fails (EIO) although the writes were accepted.
                        A card or reader that takes data into its buffer and
                        cannot bring it to the flash.

Locked and gone
  --read-only           Mounted read-only. The write-protect switch of an SD
                        card, or a card that a host refused to mount otherwise.
  --lock-after=SIZE     After so many bytes written, everything that changes the
                        card fails (EROFS). A worn-out card that locks itself
                        read-only to save what is on it.
  --unplug-after-written=SIZE
  --unplug-after-read=SIZE
                        After so many bytes written / read, every call fails. A
                        card that loses contact or resets under load. No byte
                        more is read or written: a write is cut at the limit,
                        and a read that crosses it (the system may ask for
                        128 KiB at once) fails as a whole.
  --unplug-after=SECONDS
                        Likewise, this long after the first read or write. A
                        loose contact, an overheating reader, an impatient user.
  --unplug-at=list|remove
                        Likewise, when a folder is listed for the first time
                        after something was written, or when a file is removed.
                        A card pulled out as soon as it seems to be done.
  --unplug-error=ENODEV|EIO
                        What the calls fail with then: ENODEV (if not given) as
                        the device is gone, EIO as with a reader that stays
                        while its card does not.

Running
  --foreground          Stays in the foreground until unmounted or interrupted.
                        Without it the command returns once the card answers.
  -h, --help            Shows this help.

Exit status: 0 when mounted (with --foreground: and unmounted again), 64 for
wrong usage, 1 for everything else, with one line that says why.
)";
}

}  // namespace cardsim
