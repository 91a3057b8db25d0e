// Whether the user is being asked something. As long as an alert or a panel is
// open, the display stands still.
#ifndef TROVIK_APP_MODAL_QUESTION_H
#define TROVIK_APP_MODAL_QUESTION_H

// While it lives, a question is open. Main thread; questions may be nested.
class modal_question {
 public:
    modal_question();
    ~modal_question();
    modal_question(const modal_question &) = delete;
    modal_question &operator=(const modal_question &) = delete;

    // Whether any is open.
    static bool is_open();
};

#endif
