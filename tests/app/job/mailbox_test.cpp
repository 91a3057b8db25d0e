// SPDX-License-Identifier: GPL-3.0-or-later
// Messages from one thread to another: each once, in order, without waiting.
#include "app/mailbox.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <chrono>
#include <thread>
#include <vector>

namespace app_tests {

// Receives through an event loop.
class mailbox : public testing::Test {
 protected:
    ::mailbox &box() { return m_box; }
    int arrivals() const { return m_arrivals; }
    std::thread::id arrival_thread() const { return m_arrival_thread; }

    // Runs the event loop until something has arrived.
    bool wait_for_arrival() {
        const QDeadlineTimer patience(60000);
        while (m_arrivals == 0 && !patience.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
        return m_arrivals > 0;
    }

    std::vector<std::string> take_all() {
        std::vector<std::string> texts;
        while (const std::optional<mail> message = m_box.take())
            texts.push_back(message->text);
        return texts;
    }

 private:
    int m_argc = 1;
    char m_name[5] = "test";
    char *m_argv[2] = {m_name, nullptr};
    QCoreApplication m_loop{m_argc, m_argv};
    int m_arrivals = 0;
    std::thread::id m_arrival_thread;
    ::mailbox m_box{[this] {
        ++m_arrivals;
        m_arrival_thread = std::this_thread::get_id();
    }};
};

TEST_F(mailbox, is_empty_before_first_message_and_after_last) {
    EXPECT_FALSE(box().take().has_value());
    box().send({mail_kind::console_text, "one"});
    EXPECT_TRUE(box().take().has_value());
    EXPECT_FALSE(box().take().has_value());
}

TEST_F(mailbox, keeps_kinds_and_texts) {
    const std::string binary("a\0b\xFF\n", 5);
    box().send({mail_kind::console_text, binary});
    box().send({mail_kind::engine_failure, ""});
    const std::optional<mail> first = box().take();
    const std::optional<mail> second = box().take();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->kind, mail_kind::console_text);
    EXPECT_EQ(first->text, binary);
    EXPECT_EQ(second->kind, mail_kind::engine_failure);
    EXPECT_EQ(second->text, "");
}

TEST_F(mailbox, delivers_each_message_once_in_order_while_more_arrive) {
    constexpr int messages = 20000;
    std::thread job([this] {
        for (int i = 0; i < messages; ++i)
            box().send({mail_kind::console_text, std::to_string(i)});
    });
    std::vector<std::string> texts;
    const QDeadlineTimer patience(60000);
    while (texts.size() < messages && !patience.hasExpired()) {
        for (std::string &text : take_all())
            texts.push_back(std::move(text));
    }
    job.join();
    ASSERT_EQ(texts.size(), static_cast<size_t>(messages));
    for (int i = 0; i < messages; ++i)
        ASSERT_EQ(texts[static_cast<size_t>(i)], std::to_string(i));
    EXPECT_FALSE(box().take().has_value());
}

TEST_F(mailbox, does_not_block_sender_when_receiver_is_busy) {
    // More bytes than a pipe holds.
    for (int i = 0; i < 200000; ++i)
        box().send({mail_kind::console_text, "x"});
    EXPECT_EQ(take_all().size(), 200000U);
}

TEST_F(mailbox, calls_receiver_on_its_own_thread) {
    std::thread job([this] { box().send({mail_kind::console_text, "wake up"}); });
    EXPECT_TRUE(wait_for_arrival());
    job.join();
    EXPECT_EQ(arrival_thread(), std::this_thread::get_id());
    EXPECT_EQ(take_all(), std::vector<std::string>({"wake up"}));
}

TEST_F(mailbox, notifies_once_for_many_messages) {
    for (int i = 0; i < 1000; ++i)
        box().send({mail_kind::console_text, "x"});
    EXPECT_TRUE(wait_for_arrival());
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(arrivals(), 1);
}

TEST_F(mailbox, notifies_again_for_later_messages) {
    for (int round = 1; round <= 3; ++round) {
        box().send({mail_kind::console_text, "x"});
        const QDeadlineTimer patience(60000);
        while (arrivals() < round && !patience.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
        EXPECT_EQ(arrivals(), round);
        EXPECT_EQ(take_all().size(), 1U);
    }
}

TEST_F(mailbox, wait_for_answer_blocks_until_answer) {
    std::atomic<bool> answered{false};
    std::thread job([&] {
        box().wait_for_answer();
        answered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(answered);
    box().answer();
    job.join();
    EXPECT_TRUE(answered);
}

TEST_F(mailbox, wait_for_answer_returns_at_once_after_answer) {
    box().answer();
    box().wait_for_answer();
    SUCCEED();
}

}  // namespace app_tests
