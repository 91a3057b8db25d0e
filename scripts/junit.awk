# SPDX-License-Identifier: GPL-3.0-or-later
# Turns the JUnit file of CTest into lines of results.tsv, with a fifth column: the
# test's seconds. Test output in the file is escaped: a line that begins with an
# element is one. A test is skipped if it said so itself; a test whose program is
# missing has failed.
function attribute(name,    text) {
    text = $0
    if (!sub(".*[ \t]" name "=\"", "", text))
        return ""
    sub(/".*/, "", text)
    return text
}

function plain(text) {
    gsub(/&lt;/, "<", text)
    gsub(/&gt;/, ">", text)
    gsub(/&quot;/, "\"", text)
    gsub(/&apos;/, "'", text)
    gsub(/&amp;/, "\\&", text)
    gsub(/\t/, " ", text)
    return text
}

/^[ \t]*<testcase / {
    name = plain(attribute("name"))
    seconds = attribute("time")
    status = attribute("status")
    verdict = status == "run" ? "passed" : "failed"
    reason = ""
    if (status == "disabled") {
        verdict = "skipped"
        reason = "disabled"
    }
    next
}

/^[ \t]*<skipped / {
    reason = plain(attribute("message"))
    if (reason ~ /^SKIP_/) {
        verdict = "skipped"
        reason = ""
    }
    next
}

# GoogleTest prints "file:line: Skipped", then the test's reason.
after_skipped {
    if (reason == "")
        reason = plain($0)
    after_skipped = 0
}

verdict == "skipped" && /: Skipped$/ {
    after_skipped = 1
}

/^[ \t]*<\/testcase>/ {
    after_skipped = 0
    printf "%s\t%s\t%s\t%s\t%s\n", verdict, stage, name, reason, seconds
}
