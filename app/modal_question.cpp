#include "app/modal_question.h"

// Questions that are open now. Main thread.
static int open_questions = 0;

modal_question::modal_question() {
    ++open_questions;
}

modal_question::~modal_question() {
    --open_questions;
}

bool modal_question::is_open() {
    return open_questions > 0;
}
