# Makes the table of the fault matrix of what its cells have written down: row number,
# column number, row, column and outcome, between tabs, in any order; of several lines
# for one cell the last counts. "-": the fault has no meaning there.
BEGIN {
    FS = "\t"
    last_row = last_column = -1
}

NF == 5 {
    row[$1] = $3
    column[$2] = $4
    outcome[$1, $2] = $5
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
}
