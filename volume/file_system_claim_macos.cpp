// Nothing here has a name that ends with its process, other than files and locks on them, and a
// file in a place that every user can write to would be anyone's to hold or to replace. So nothing
// is claimed: the lock on the folder, and on the volume's root, has to do. A folder cannot be bound
// to a second place here.
#include "volume/file_system_claim.h"

file_system_claim file_system_claim_make(dev_t /*file_system*/) {
    return {};
}
