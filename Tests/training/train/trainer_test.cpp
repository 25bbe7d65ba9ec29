// The gradient against differences of the loss. Training as a whole: it learns, an interrupted run ends where an
// uninterrupted one does, and what recipes ask for.
#include "train_fixture.h"
#include "training/train/training_run.h"

#include <cmath>
#include <map>

namespace {

struct TrainerTest : TrainFixture {
    TrainingSet set = make_training_set(records(1900), 0.3, 100, team);
    TrainingState state;

    std::string read(const std::string& text, TrainingPlan& plan) const {
        return read_recipe(folder.write("recipe.txt", text), plan);
    }
    TrainingPlan small_plan(const std::string& output) const {
        TrainingPlan plan;
        plan.epochs = 3;
        read("hidden=96\nbatch=256\ndecay=0.01\nwarm_up=4\nreport=3\noutput=" + folder.name(output), plan);
        return plan;
    }
    std::string go_on(const TrainingPlan& plan) { return start_state(plan, TrainingStart::CHECKPOINT, set, state); }
};

// The biases keep every unit on one side of zero, where the loss has a derivative: half of them active, half leaking.
// A gradient is read off the first moment, which one update makes 0.1 of it. The first step of all goes the whole rate
// against its sign.
TEST_F(TrainerTest, gradients_equal_differences_of_the_loss) {
    fill_work(600);  // two full tiles and a part of one
    for (const auto& [loss, shared] : {std::pair(Loss::SQUARED, true), std::pair(Loss::CROSS_ENTROPY, false)}) {
        state = make_training_state(2 * COLUMNS);
        randomise(state.model, 5);
        for (const int block : {0, 1}) {
            float* const bias = state.model.block(block) + BIAS_ROW * COLUMNS;
            for (int i = 0; i < COLUMNS; ++i) bias[i] = i % 2 ? 1.9f : -1.9f;
            settle_block(state.model, block);
        }
        std::map<std::size_t, double> expected;  // by parameter
        for (unsigned trial = 0; trial < 150; ++trial) {
            const unsigned block = trial % 2;
            const unsigned first = trial % 3 == 0 ? OUTPUT_ROW * COLUMNS : 0;
            const auto at = block * BLOCK_PARAMETERS + first + trial * 104729 % (BLOCK_PARAMETERS - first);
            const float value = state.model.parameter[at];
            const auto loss_at = [&](float moved) {  // by the plain formula in double precision
                state.model.parameter[at] = moved;
                settle_block(state.model, static_cast<int>(block));
                double sum = 0;
                for (const Features& f : work.batch.position) {
                    const double p = 1 / (1 + std::exp(-2.4 * plain_output(state.model, f)));
                    const double t = static_cast<double>(f.target);
                    sum += loss == Loss::SQUARED ? (p - t) * (p - t) : -t * std::log(p) - (1 - t) * std::log(1 - p);
                }
                return sum / work.batch.size;
            };
            constexpr float STEP = 1e-3f;
            expected[at] = (loss_at(value + STEP) - loss_at(value - STEP)) / (2.0 * static_cast<double>(STEP));
            loss_at(value);
        }
        const AlignedArray<float>& now = state.model.parameter;
        const std::vector<float> before(now.data(), now.data() + now.size());
        train_batch(state, work, {loss, shared, 0.001, 0}, team);
        for (const auto& [at, slope] : expected) {
            const std::size_t row = at % BLOCK_PARAMETERS / COLUMNS;
            const bool unused = !shared && row >= SHARED_ROW && row < OUTPUT_ROW;
            EXPECT_NEAR(unused ? 0 : slope, 10.0f * state.first_moment[at], 1e-6 + 0.01 * std::abs(slope)) << row;
            if (unused || std::abs(slope) < 1e-5) continue;
            EXPECT_NEAR(std::copysign(0.001, slope), before[at] - now[at], 1e-5) << row;
        }
        EXPECT_GT(std::ranges::count_if(expected, [](const auto& e) { return std::abs(e.second) > 1e-5; }), 60);
    }
}

TEST_F(TrainerTest, a_small_data_set_is_learnt_by_heart) {
    state = make_training_state(128);
    randomise(state.model, 1);
    fill_work(300);
    EXPECT_GT(evaluate_batch(state.model, work, team), 0.05);
    for (int i = 0; i < 400; ++i) train_batch(state, work, {Loss::SQUARED, true, 0.004, 0}, team);
    EXPECT_LT(evaluate_batch(state.model, work, team), 0.0001);
}

// The one run has one thread. The other has three, and is stopped four times to go on from its checkpoint.
TEST_F(TrainerTest, a_resumed_run_equals_an_uninterrupted_one_bit_for_bit) {
    const TrainingPlan whole = small_plan("whole.nn"), parts = small_plan("parts.nn");
    const std::string output = printed([&] {
        ASSERT_EQ("", start_state(whole, TrainingStart::RANDOM, set, state));
        ASSERT_TRUE(train_epochs(whole, set, state, team, [] { return false; }));
        ThreadTeam three(3);
        ASSERT_EQ("", start_state(parts, TrainingStart::RANDOM, set, state));
        for (const int stop_at : {2, 7, 10, 15}) {  // within the first and second epoch, at its end and that of all
            ASSERT_TRUE(train_epochs(parts, set, state, three, [&] { return state.step == stop_at; }));
            ASSERT_EQ("", go_on(parts));
            ASSERT_EQ(stop_at, state.step);
        }
    });
    EXPECT_NE(std::string::npos, output.find("stopped; " + checkpoint_name(parts) + " written\n"));
    EXPECT_TRUE(folder.read("whole.nn.checkpoint") == folder.read("parts.nn.checkpoint"));
}

TEST_F(TrainerTest, checkpoints_of_other_runs_and_damaged_ones_are_refused) {
    const TrainingPlan plan = small_plan("run.nn");
    EXPECT_NE("", go_on(plan)) << "there is none";
    printed([&] {
        start_state(plan, TrainingStart::RANDOM, set, state);
        train_epochs(plan, set, state, team, [] { return true; });  // stops after a step
    });
    ASSERT_EQ("", go_on(plan));
    for (const char* change : {"batch=128", "hidden=64", "seed=5"}) {
        TrainingPlan other = plan;
        EXPECT_EQ("", read(change, other));
        EXPECT_NE("", go_on(other)) << change;
    }
    std::filesystem::resize_file(checkpoint_name(plan), 1000);
    EXPECT_NE("", go_on(plan)) << "cut off";
    folder.write("run.nn.checkpoint", std::string(100, 'x'));
    EXPECT_NE("", go_on(plan)) << "something else";
}

TEST_F(TrainerTest, recipes_set_what_they_name_and_faults_are_named) {
    TrainingPlan plan;
    ASSERT_EQ("", read("# a recipe\r\ndata = a.bin\r\n data=b c.bin  # two\n\nrate = 0.01\nloss = cross_entropy\n"
                       "shared = 0\nfinal_rate=0.1\nwarm_up = 10\nnetwork = a.nn\nnetwork = b.nn\noutput = "
                       "x.nn\nhidden = 100  # 7 blocks of 16\n",
                       plan));
    using Names = std::vector<std::string>;
    EXPECT_EQ(std::pair(Names{"a.bin", "b c.bin"}, Names{"a.nn", "b.nn"}), std::pair(plan.data, plan.network));
    EXPECT_EQ(std::tuple("x.nn", 112, Loss::CROSS_ENTROPY, false, 0.35),
              std::tuple(plan.output, plan.hidden, plan.loss, plan.shared_rows, plan.result_share));
    // The learning rate a tenth of the way up, in the middle of the cosine, at its end and beyond.
    const std::pair<int, double> rates[] = {{0, 0.001}, {500, 0.0055}, {1000, 0.001}, {2000, 0.001}};
    for (const auto& [step, rate] : rates) EXPECT_NEAR(rate, learning_rate_at(plan, step, 1000), 1e-9) << step;

    for (const char* share : {"0", "1", "0.25"}) EXPECT_EQ("", read(std::string("result_share = ") + share, plan));
    EXPECT_EQ(0.25, plan.result_share);
    for (const std::string fault : {"batsch = 1\n", "batch 1\n", "result_share = 1.01", "result_share = -0.1",
                                    "result_share = half", "result_share = nan", "result_share ="}) {
        const std::string name = fault.substr(0, fault.find(' '));
        EXPECT_NE(std::string::npos, read(fault, plan).find(name, folder.name("recipe.txt").size())) << fault;
    }
    EXPECT_NE("", read_recipe(folder.name("none.txt"), plan));
}

// Every game is won, every score even: with scores alone a network learns to expect a half.
TEST_F(TrainerTest, the_result_share_decides_what_is_learnt) {
    for (TrainingRecord& record : set.records) std::tie(record.result, record.sc) = std::pair(2300, 0);
    TrainingPlan plan = small_plan("scores.nn");
    plan.result_share = 0;
    const std::string report = printed([&] {
        start_state(plan, TrainingStart::RANDOM, set, state);
        train_epochs(plan, set, state, team, [] { return false; });
    });
    const std::string loss = report.substr(report.rfind("held-out loss ") + 14, 9);
    EXPECT_LT(std::stod(loss), 0.003);
    EXPECT_NE(std::string::npos, report.find(loss + ", against the search score alone " + loss)) << report;
}

// The expected figures were computed by another program, from the network file and the records alone.
TEST_F(TrainerTest, a_recipe_without_data_measures_a_network) {
    TrainingRequest request;
    copy_text(request.file, folder.write("recipe.txt", "yardstick = " + data_file("training/yardstick.bin")));
    EXPECT_EQ(
        "info string loaded embedded network\n"
        "yardstick: 0.007220 against the scores of 15189 positions\n"
        "yardstick: 0.05729 against the results of 6753 of them, at the best scale of 0.00586 a centipawn\n",
        printed([&] { EXPECT_EQ(0, run_training(request)); }));
}

}  // namespace
