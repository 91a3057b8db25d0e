# SPDX-License-Identifier: GPL-3.0-or-later
# Makes the table of the fault matrix from the outcomes of its cells: row number, column
# number, row, column and outcome, between tabs, in any order. Of several lines for a
# cell the last counts. "-": the fault has no meaning there. Fails if all cells of a
# column were skipped, or there are no columns but the folder's.
BEGIN {
    FS = "\t"
    last_row = last_column = -1
}

NF == 5 {
    row[$1] = $3
    column[$2] = $4
    outcome[$1, $2] = $5
    if ($5 !~ /^(skipped|no outcome)/)
        was_run[$2] = 1
    if ($1 + 0 > last_row)
        last_row = $1 + 0
    if ($2 + 0 > last_column)
        last_column = $2 + 0
}

END {
    head = "| The card |"
    rule = "|---|"
    for (c = 0; c <= last_column; c++) {
        if (!(c in column))
            continue
        head = head " " column[c] " |"
        rule = rule "---|"
    }
    print head
    print rule
    for (r = 0; r <= last_row; r++) {
        if (!(r in row))
            continue
        line = "| " row[r] " |"
        for (c = 0; c <= last_column; c++) {
            if (c in column)
                line = line " " ((r, c) in outcome ? outcome[r, c] : "-") " |"
        }
        print line
    }
    for (c = 0; c <= last_column; c++)
        if (c in column && !(c in was_run))
            exit 1
    exit last_column < 1
}
