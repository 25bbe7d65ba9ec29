// Training as a whole: it learns, and an interrupted run ends where an uninterrupted one does.
#include "train_fixture.h"
#include "training/train/training_run.h"

namespace {

struct TrainerTest : TrainFixture {
    TrainingSet set = make_training_set(records(1900), 0.3, 100, team);

    TrainingPlan small_plan(const std::string& output) const {
        TrainingPlan plan;
        plan.output = folder.name(output);
        plan.hidden = 96;
        plan.batch = 256;
        plan.epochs = 3;
        plan.decay = 0.01;
        plan.warm_up = 4;
        plan.report_steps = 3;
        return plan;
    }
};

TEST_F(TrainerTest, a_small_data_set_is_learnt_by_heart) {
    TrainingState state = make_training_state(128);
    randomise(state.model, 1);
    fill_work(300);
    EXPECT_GT(evaluate_batch(state.model, work, team), 0.05);  // random targets are far from a half
    for (int i = 0; i < 400; ++i) train_batch(state, work, {Loss::SQUARED, true, 0.004, 0}, team);
    EXPECT_LT(evaluate_batch(state.model, work, team), 0.0001);
}

// The one run has one thread. The other has three, and is stopped four times to go on from its checkpoint.
TEST_F(TrainerTest, a_resumed_run_equals_an_uninterrupted_one_bit_for_bit) {
    ASSERT_GE(set.training, 1024u);
    TrainingState expected, state;
    quietly([&] {
        const TrainingPlan whole = small_plan("whole.nn");
        ASSERT_EQ("", start_state(whole, TrainingStart::RANDOM, set, expected));
        ASSERT_TRUE(train_epochs(whole, set, expected, team, [] { return false; }));
    });
    const TrainingPlan parts = small_plan("parts.nn");
    const std::string printed = quietly([&] {
        ThreadTeam three(3);
        ASSERT_EQ("", start_state(parts, TrainingStart::RANDOM, set, state));
        const int at_the_end = 0;
        for (const int stop_after : {2, 3, at_the_end, 100}) {  // within the first epoch, the second, at its end, never
            int steps = 0;
            ASSERT_TRUE(train_epochs(parts, set, state, three, [&] {
                return stop_after == at_the_end ? state.epoch_step == 0 : ++steps == stop_after;
            }));
            state = TrainingState();
            ASSERT_EQ("", start_state(parts, TrainingStart::CHECKPOINT, set, state));
        }
    });
    int stops = 0;
    const std::string stopped = "stopped; " + checkpoint_name(parts) + " written\n";
    for (std::size_t at = 0; (at = printed.find(stopped, at)) != std::string::npos; ++at) ++stops;
    EXPECT_EQ(3, stops);
    EXPECT_EQ(3, state.epoch);
    EXPECT_EQ(expected.step, state.step);
    EXPECT_TRUE(same_values(expected.model.parameter, state.model.parameter));
    EXPECT_TRUE(same_values(expected.first_moment, state.first_moment));
    EXPECT_TRUE(same_values(expected.second_moment, state.second_moment));
}

TEST_F(TrainerTest, checkpoints_of_other_runs_and_damaged_ones_are_refused) {
    const TrainingPlan plan = small_plan("run.nn");
    TrainingState state;
    const auto go_on = [&](const TrainingPlan& p) { return start_state(p, TrainingStart::CHECKPOINT, set, state); };
    EXPECT_NE("", go_on(plan)) << "there is none";
    quietly([&] {
        start_state(plan, TrainingStart::RANDOM, set, state);
        train_epochs(plan, set, state, team, [] { return true; });  // stops after a step
    });
    ASSERT_EQ("", go_on(plan));

    TrainingPlan other = plan;
    other.batch = 128;
    EXPECT_NE("", go_on(other));
    other = plan;
    other.hidden = 64;
    EXPECT_NE("", go_on(other));
    std::filesystem::resize_file(checkpoint_name(plan), 1000);
    EXPECT_NE("", go_on(plan)) << "cut off";
    folder.write("run.nn.checkpoint", std::string(100, 'x'));
    EXPECT_NE("", go_on(plan)) << "something else";
}

TEST_F(TrainerTest, the_learning_rate_rises_and_falls) {
    TrainingPlan plan;
    plan.learning_rate = 0.01;
    plan.final_rate = 0.1;
    plan.warm_up = 10;
    EXPECT_NEAR(0.001, learning_rate_at(plan, 0, 1000), 1e-9);
    EXPECT_NEAR(0.0055, learning_rate_at(plan, 500, 1000), 1e-9);  // the middle of the cosine
    EXPECT_NEAR(0.001, learning_rate_at(plan, 2000, 1000), 1e-9);
}

TEST_F(TrainerTest, recipes_set_what_they_name_and_faults_are_named) {
    TrainingPlan plan;
    const auto read = [&](const char* text) { return read_recipe(folder.write("recipe.txt", text), plan); };
    ASSERT_EQ("",
              read("# a recipe\r\ndata = a.bin\r\n data=b c.bin  # two\n\nrate = 0.5\n"
                   "loss = cross_entropy\nshared = 0\nnetwork = a.nn\nnetwork = b.nn\noutput = x.nn\nhidden = 100\n"));
    EXPECT_EQ((std::vector<std::string>{"a.bin", "b c.bin"}), plan.data);
    EXPECT_EQ((std::vector<std::string>{"a.nn", "b.nn"}), plan.network);
    EXPECT_EQ(0.5, plan.learning_rate);
    EXPECT_EQ(Loss::CROSS_ENTROPY, plan.loss);
    EXPECT_FALSE(plan.shared_rows);
    EXPECT_EQ("x.nn", plan.output);
    EXPECT_EQ(112, plan.hidden);  // whole blocks of 16
    EXPECT_NE(std::string::npos, read("batsch = 1\n").find("batsch"));
    EXPECT_NE(std::string::npos, read("batch 1\n").find("batch 1"));
    EXPECT_NE("", read_recipe(folder.name("none.txt"), plan));
}

}  // namespace
