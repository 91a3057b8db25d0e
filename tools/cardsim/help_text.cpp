// SPDX-License-Identifier: GPL-3.0-or-later
/* The help in full: each option with the kind of real card that behaves so. */
#include "tools/cardsim/arguments.h"

namespace cardsim {

std::string_view help_text() {
    return R"(trovik-cardsim - mounts a simulated memory card as a folder

Usage: trovik-cardsim MOUNTPOINT [options]
Unmount with: fusermount3 -u MOUNTPOINT

Files stored in MOUNTPOINT are kept in the card's sectors of 512 bytes. Sectors
are allocated in the order of writing, sector 0 first; sectors of removed files
are reused, lowest first. Without options the card is sound. Options can be
combined freely. Unmounting discards everything. With --image there is a single
file instead, which holds the sectors themselves.

SIZE is in bytes, or with K, M, G or T in powers of 1024 (64K, 2G). Sectors are
numbered as the host sees them, from 0.

The size of the card
  --size=SIZE           The announced size, which the card reports to the host
                        and has printed on it. Default: 64M.
  --real-size=SIZE      The bytes that the card really keeps. Default: the
                        announced size. Smaller on counterfeits: a small chip
                        whose controller reports a large one.
  --beyond=KIND         The behaviour past the real size, drop-00 by default:
      wrap              sector n lands on n modulo the real size, so late files
                        overwrite early ones. A counterfeit whose controller
                        ignores the upper address lines.
      wrap-last=SIZE    folded into the last SIZE bytes of the real size. A
                        counterfeit that protects its beginning, so that the
                        file system's tables there survive.
      drop-00, drop-ff  writes are lost, reads give bytes 0x00 / 0xFF. A
                        counterfeit that answers for missing addresses with an
                        empty bus or erased flash.
      garbage           writes are lost, reads give random bytes, the same each
                        time. A counterfeit that answers with old contents of a
                        buffer or of unmapped flash.
  --full-at=SIZE        Full after this many bytes, whatever was announced.
                        Smaller than --size: a card without spare blocks, or a
                        file system that needs the rest for itself. Larger: a
                        file system whose count is too low; the free space shown
                        reaches 0 and writes still succeed.
  --root-entries=N      The root folder takes N entries; one more fails
                        (ENOSPC). FAT12 and FAT16 have a fixed number.
  --statfs-free=SIZE    Always reports this free space. A file system with a
                        stale or damaged free-space count.
  --statfs-fails        The query for free space fails (EIO). A card whose file
                        system tables can no longer be read.

How it appears
  --image               Without a file system: one file, card.img, of the
                        announced size, sector n at byte n * 512. Every read of
                        it goes to the card. Attached to a loop device
                        (losetup --find --show MOUNTPOINT/card.img) it is the
                        bare card, which can be formatted.
  --contents=FILE       With --image: the card's initial contents are copied
                        from FILE, except holes. A card that was formatted and
                        used before it failed.

Where it is kept
  --backing=FILE        Keeps the sectors in FILE, sector n at byte n * 512, for
                        inspection. FILE is created, or must be empty. Default:
                        in memory. Unless FILE is on tmpfs, the page cache keeps
                        a copy of it: do not call such a card's medium memory
                        (--medium-is-memory of trovik-cli).
  --seed=N              The seed of --flip-rate and garbage. Default: 0. The
                        same seed makes the same card.

Speed
  --write-rate=SIZE     Bytes per second. A slow card, or a fast one behind a
  --read-rate=SIZE      slow reader or a USB 1 port.
  --write-latency-us=N  Microseconds for each request. A card that collects
  --read-latency-us=N   garbage during requests, or a reader with a slow
                        protocol.
  --slow-after=SIZE     After this many bytes written, a hundredth of
                        --write-rate. A card whose fast part is full.
  --stall-every=SIZE    After every so many bytes written and read, no answer
  --stall-seconds=N     for N seconds, 10 by default. A card that collects
                        garbage or corrects errors.

Dying flash
  --flip=SECTOR:BIT[,SECTOR:BIT...]
                        This bit (0 to 4095, from the sector's first byte and
                        its lowest bit) is read flipped. A worn cell beyond
                        error correction. May be repeated.
  --flip-rate=P         Each sector has one flipped bit with probability P (0 to
                        1). A card that is evenly worn, or was stored too long
                        or too warm.
  --misread=SECTOR:OTHER[,SECTOR:OTHER...]
                        Reading SECTOR returns the contents of OTHER. A
                        controller with a damaged mapping table. May be
                        repeated.
  --read-error=FIRST[-LAST][,...]
                        Reading these sectors fails (EIO). Dead blocks that the
                        card reports. May be repeated.
  --write-error=FIRST[-LAST][,...]
                        Writing these sectors fails (EIO). Blocks that can no
                        longer be erased. May be repeated.
  --fsync-fails         Flushing fails (EIO) although the writes succeeded. A
                        card or reader that cannot write its buffer to the
                        flash.

Locked and gone
  --read-only           Mounted read-only. The write-protect switch of an SD
                        card, or a card that the host mounts only read-only.
  --lock-after=SIZE     After this many bytes written, every change of the card
                        fails (EROFS). A worn-out card that makes itself
                        read-only to save its contents.
  --unplug-after-written=SIZE
  --unplug-after-read=SIZE
                        After this many bytes written / read, every call fails.
                        A card that loses contact or resets under load. A write
                        is cut at the limit; a read that crosses it (the system
                        may request 128 KiB at once) fails as a whole.
  --unplug-after=SECONDS
                        Likewise, this long after the first read or write. A
                        loose contact, an overheating reader, an impatient user.
  --unplug-at=list|remove
                        Likewise, at the first listing of a folder after a
                        write, or at the first removal of a file. A card pulled
                        out too early.
  --unplug-error=ENODEV|EIO
                        The error of these calls. ENODEV (default): the device
                        is gone. EIO: the card is gone, its reader is not.

Running
  --foreground          Stays in the foreground until unmounted or interrupted.
                        Without it the command returns once the card answers.
  -h, --help            Print this help.

Exit status: 0 when mounted (with --foreground: and unmounted again), 64 for
wrong usage, 1 for other failures, with the reason in one line.
)";
}

}  // namespace cardsim
