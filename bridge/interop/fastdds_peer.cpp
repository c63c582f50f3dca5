// SPDX-License-Identifier: MIT
// A Fast DDS program, built from the bridge's IDL files, that talks to qel-bridge as a ROS 2
// node on Fast DDS would: it reads the device's pose, switches force output on, commands a
// force and reads it back from the wrench topic. Exits 0 when all of that happened.
//
//   fastdds_peer NAMESPACE FORCE_N    (domain from ROS_DOMAIN_ID)
//
// Its only transport is UDP on 127.0.0.1, with discovery peers on 127.0.0.1: it never puts a
// packet beyond loopback.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastrtps/utils/IPLocator.h>

#include "BoolPubSubTypes.h"
#include "PoseStampedPubSubTypes.h"
#include "WrenchStampedPubSubTypes.h"

using namespace eprosima::fastdds::dds;

namespace {

DomainParticipant* loopbackParticipant(int domain) {
    DomainParticipantQos qos;
    qos.name("qel_fastdds_peer");
    qos.transport().use_builtin_transports = false;
    auto udp = std::make_shared<eprosima::fastdds::rtps::UDPv4TransportDescriptor>();
    udp->interfaceWhiteList.push_back("127.0.0.1");
    qos.transport().user_transports.push_back(udp);
    eprosima::fastrtps::rtps::Locator_t peer;
    eprosima::fastrtps::rtps::IPLocator::setIPv4(peer, 127, 0, 0, 1);
    qos.wire_protocol().builtin.initialPeersList.push_back(peer);
    return DomainParticipantFactory::get_instance()->create_participant(domain, qos);
}

struct Endpoints {
    DomainParticipant* participant;
    Publisher* publisher;
    Subscriber* subscriber;

    Topic* topic(TopicDataType* type, const std::string& rosTopic) {
        TypeSupport support(type);
        support.register_type(participant);
        return participant->create_topic("rt" + rosTopic, support.get_type_name(),
                                         TOPIC_QOS_DEFAULT);
    }
    DataReader* reader(TopicDataType* type, const std::string& rosTopic) {
        DataReaderQos qos = DATAREADER_QOS_DEFAULT;
        qos.reliability().kind = RELIABLE_RELIABILITY_QOS;
        return subscriber->create_datareader(topic(type, rosTopic), qos);
    }
    DataWriter* writer(TopicDataType* type, const std::string& rosTopic) {
        DataWriterQos qos = DATAWRITER_QOS_DEFAULT;
        qos.reliability().kind = RELIABLE_RELIABILITY_QOS;
        return publisher->create_datawriter(topic(type, rosTopic), qos);
    }
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: fastdds_peer NAMESPACE FORCE_N\n");
        return 2;
    }
    const std::string ns = argv[1];
    const double force = std::atof(argv[2]);
    const char* domain = std::getenv("ROS_DOMAIN_ID");
    Endpoints e{loopbackParticipant(domain ? std::atoi(domain) : 0), nullptr, nullptr};
    if (!e.participant) return std::fprintf(stderr, "fastdds_peer: no participant\n"), 1;
    e.publisher = e.participant->create_publisher(PUBLISHER_QOS_DEFAULT);
    e.subscriber = e.participant->create_subscriber(SUBSCRIBER_QOS_DEFAULT);
    DataReader* pose =
        e.reader(new geometry_msgs::msg::dds_::PoseStamped_PubSubType(), ns + "/pose");
    DataReader* wrench =
        e.reader(new geometry_msgs::msg::dds_::WrenchStamped_PubSubType(), ns + "/wrench");
    DataWriter* command =
        e.writer(new geometry_msgs::msg::dds_::WrenchStamped_PubSubType(), ns + "/force_command");
    DataWriter* output = e.writer(new std_msgs::msg::dds_::Bool_PubSubType(), ns + "/force_output");
    if (!pose || !wrench || !command || !output)
        return std::fprintf(stderr, "fastdds_peer: endpoints not created\n"), 1;

    bool sawPose = false, sawForce = false;
    double z = 0, rendered = 0;
    const auto start = std::chrono::steady_clock::now();
    while (!sawForce && std::chrono::steady_clock::now() - start < std::chrono::seconds(10)) {
        geometry_msgs::msg::dds_::PoseStamped_ p;
        SampleInfo info;
        while (pose->take_next_sample(&p, &info) == ReturnCode_t::RETCODE_OK)
            if (info.valid_data) sawPose = true, z = p.pose().position().z();
        if (sawPose) {
            std_msgs::msg::dds_::Bool_ on;
            on.data(true);
            output->write(&on);
            geometry_msgs::msg::dds_::WrenchStamped_ c;
            c.wrench().force().z(force);
            command->write(&c);
        }
        geometry_msgs::msg::dds_::WrenchStamped_ w;
        while (wrench->take_next_sample(&w, &info) == ReturnCode_t::RETCODE_OK)
            if (info.valid_data) {
                rendered = w.wrench().force().z();
                if (std::fabs(rendered - force) < 1e-6) sawForce = true;
            }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::printf("fastdds_peer: pose %s (z %.4f m), force %s (%.3f N rendered)\n",
                sawPose ? "received" : "missing", z, sawForce ? "rendered" : "missing", rendered);
    e.participant->delete_contained_entities();
    DomainParticipantFactory::get_instance()->delete_participant(e.participant);
    return sawPose && sawForce ? 0 : 1;
}
