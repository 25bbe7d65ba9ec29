// Training as a whole: it learns, threads change nothing, and an interrupted run ends where an uninterrupted one does.
#include "tools/train/training_run.h"
#include "train_fixture.h"

#include <sstream>
#include <string>

namespace {

using TrainerTest = TrainFixture;

TrainingPlan small_plan(const std::string& output, int epochs) {
    TrainingPlan plan;
    plan.output = output;
    plan.hidden = 32;
    plan.batch = 256;
    plan.epochs = epochs;
    plan.warm_up = 4;
    plan.report_steps = 3;
    return plan;
}

TEST_F(TrainerTest, a_small_data_set_is_learnt_by_heart) {
    ThreadTeam team(1);
    TrainingState state = make_training_state(128);
    randomise(state.model, 1);
    Workspace work;
    fill(work.batch, records(300), team);
    const double before = evaluate_batch(state.model, work, team);
    for (int i = 0; i < 400; ++i) train_batch(state, work, {Loss::SQUARED, true, 0.004, 0}, team);
    const double after = evaluate_batch(state.model, work, team);
    EXPECT_GT(before, 0.05);  // random targets are far from a half
    EXPECT_LT(after, 0.0001);
}

TEST_F(TrainerTest, threads_change_nothing) {
    TrainingState state[2];
    for (const int threads : {1, 3}) {
        ThreadTeam team(threads);
        TrainingState& s = state[threads > 1];
        s = make_training_state(96);
        randomise(s.model, 1);
        Workspace work;
        for (int i = 0; i < 5; ++i) {
            fill(work.batch, records(900), team);
            train_batch(s, work, {Loss::SQUARED, true, 0.002, 0.01}, team);
        }
    }
    EXPECT_TRUE(same_values(state[0].model.parameter, state[1].model.parameter));
    EXPECT_TRUE(same_values(state[0].second_moment, state[1].second_moment));
}

// Stopped after `stops` steps, each time going on from the checkpoint.
TEST_F(TrainerTest, a_resumed_run_equals_an_uninterrupted_one_bit_for_bit) {
    ThreadTeam team(1);
    const TrainingSet set = make_training_set(records(1900), 0.3, 100, team);
    ASSERT_GE(set.training, 1024u);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();

    const TrainingPlan whole = small_plan(path("whole.nn"), 3);
    TrainingState expected;
    ASSERT_EQ("", start_state(whole, TrainingStart::RANDOM, set, expected));
    ASSERT_TRUE(train_epochs(whole, set, expected, team, [] { return false; }));

    const TrainingPlan parts = small_plan(path("parts.nn"), 3);
    TrainingState state;
    ASSERT_EQ("", start_state(parts, TrainingStart::RANDOM, set, state));
    const int at_the_end = 0;
    for (const int stop_after : {2, 3, at_the_end, 100}) {  // within the first epoch, the second, at its end, never
        int steps = 0;
        ASSERT_TRUE(train_epochs(parts, set, state, team, [&] {
            return stop_after == at_the_end ? state.epoch_step == 0 : ++steps == stop_after;
        }));
        state = TrainingState();
        ASSERT_EQ("", start_state(parts, TrainingStart::CHECKPOINT, set, state));
    }
    std::istringstream printed(testing::internal::GetCapturedStdout());
    testing::internal::GetCapturedStderr();
    int stops = 0;
    for (std::string line; std::getline(printed, line);)
        stops += line == "stopped; " + path("parts.nn.checkpoint") + " written";
    EXPECT_EQ(3, stops);
    EXPECT_EQ(3, state.epoch);
    EXPECT_EQ(expected.step, state.step);
    EXPECT_TRUE(same_values(expected.model.parameter, state.model.parameter));
    EXPECT_TRUE(same_values(expected.first_moment, state.first_moment));
    EXPECT_TRUE(same_values(expected.second_moment, state.second_moment));
}

TEST_F(TrainerTest, checkpoints_of_other_runs_and_damaged_ones_are_refused) {
    ThreadTeam team(1);
    const TrainingSet set = make_training_set(records(1900), 0.3, 100, team);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const TrainingPlan plan = small_plan(path("run.nn"), 2);
    TrainingState state;
    EXPECT_NE("", start_state(plan, TrainingStart::CHECKPOINT, set, state));  // there is none
    start_state(plan, TrainingStart::RANDOM, set, state);
    train_epochs(plan, set, state, team, [] { return true; });  // stops after a step
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    ASSERT_EQ("", start_state(plan, TrainingStart::CHECKPOINT, set, state));

    TrainingPlan other = plan;
    other.batch = 128;
    EXPECT_NE("", start_state(other, TrainingStart::CHECKPOINT, set, state));
    other = plan;
    other.hidden = 64;
    EXPECT_NE("", start_state(other, TrainingStart::CHECKPOINT, set, state));

    std::filesystem::resize_file(checkpoint_name(plan), 1000);
    EXPECT_NE("", start_state(plan, TrainingStart::CHECKPOINT, set, state));
    write("run.nn.checkpoint", std::string(100, 'x'));
    EXPECT_NE("", start_state(plan, TrainingStart::CHECKPOINT, set, state));
}

TEST_F(TrainerTest, the_learning_rate_rises_and_falls) {
    TrainingPlan plan;
    plan.learning_rate = 0.01;
    plan.final_rate = 0.1;
    plan.warm_up = 10;
    EXPECT_NEAR(0.001, learning_rate_at(plan, 0, 1000), 1e-9);
    EXPECT_NEAR(0.01 * (0.1 + 0.9 * 0.5), learning_rate_at(plan, 500, 1000), 1e-9);  // the middle of the cosine
    EXPECT_NEAR(0.001, learning_rate_at(plan, 1000, 1000), 1e-9);
    EXPECT_NEAR(0.001, learning_rate_at(plan, 2000, 1000), 1e-9);
}

TEST_F(TrainerTest, recipes_set_what_they_name_and_faults_are_named) {
    TrainingPlan plan;
    const std::string good = write("good.txt",
                                   "# a recipe\r\ndata = a.bin\r\n data=b c.bin  # two\n\nrate = 0.5\nbatch = 8192\n"
                                   "loss = cross_entropy\nshared = 0\noutput = x.nn\nhidden = 100\n");
    ASSERT_EQ("", read_recipe(good, plan));
    EXPECT_EQ((std::vector<std::string>{"a.bin", "b c.bin"}), plan.data);
    EXPECT_EQ(0.5, plan.learning_rate);
    EXPECT_EQ(8192, plan.batch);
    EXPECT_EQ(Loss::CROSS_ENTROPY, plan.loss);
    EXPECT_FALSE(plan.shared_rows);
    EXPECT_EQ("x.nn", plan.output);
    EXPECT_EQ(112, plan.hidden);  // whole blocks of 16
    EXPECT_NE(std::string::npos, read_recipe(write("bad.txt", "batsch = 1\n"), plan).find("batsch"));
    EXPECT_NE(std::string::npos, read_recipe(write("bad.txt", "batch 1\n"), plan).find("batch 1"));
    EXPECT_NE("", read_recipe(path("none.txt"), plan));
}

}  // namespace
