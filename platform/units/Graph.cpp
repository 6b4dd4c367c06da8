#include "platform/units/Graph.h"

#include "platform/units/UnitTable.h"

#include <algorithm>

namespace braq {
namespace {

OSStatus makeUnit(const AudioComponentDescription& description, AudioUnit* unit) {
    const AudioComponent component = AudioComponentFindNext(nullptr, &description);
    const bool isMade = component != nullptr && AudioComponentInstanceNew(component, unit) == 0;
    return isMade ? 0 : kAUGraphErr_InvalidAudioUnit;
}

// Output units are the sinks: their type is known before they are created.
bool isOutput(const AudioComponentDescription& description) {
    return description.componentType == kAudioUnitType_Output;
}

OSStatus firstOf(OSStatus one, OSStatus other) { return one != 0 ? one : other; }

} // namespace

Graph::~Graph() { closeNodes(); }

Graph::Node* Graph::find(AUNode number) {
    const auto found = std::ranges::find(mNodes, number, &Node::number);
    return found != mNodes.end() ? &*found : nullptr;
}

Graph::Node* Graph::outputNode() {
    const auto isOutputNode = [](const Node& node) { return isOutput(node.description); };
    const auto found = std::ranges::find_if(mNodes, isOutputNode);
    return std::ranges::count_if(mNodes, isOutputNode) == 1 ? &*found : nullptr;
}

OSStatus Graph::open() {
    const std::lock_guard lock(mMutex);
    if (mIsOpen) {
        return 0;
    }
    for (Node& node : mNodes) {
        if (const OSStatus status = makeUnit(node.description, &node.unit)) {
            closeNodes();
            return status;
        }
    }
    mIsOpen = true;
    return 0;
}

OSStatus Graph::closeNodes() {
    OSStatus status = uninitializeNodes();
    for (Node& node : mNodes) {
        if (node.unit != nullptr) {
            status = firstOf(status, AudioComponentInstanceDispose(node.unit));
            node.unit = nullptr;
        }
    }
    mIsOpen = false;
    return status;
}

OSStatus Graph::close() {
    const std::lock_guard lock(mMutex);
    return closeNodes();
}

OSStatus Graph::addNode(const AudioComponentDescription& description, AUNode* node) {
    const std::lock_guard lock(mMutex);
    Node added{mLastNode + 1, description};
    if (AudioComponentFindNext(nullptr, &description) == nullptr) {
        return kAUGraphErr_InvalidAudioUnit;
    }
    if (mIsOpen) {
        if (const OSStatus status = makeUnit(description, &added.unit)) {
            return status;
        }
    }
    mNodes.push_back(added);
    *node = ++mLastNode;
    return 0;
}

OSStatus Graph::nodeInfo(AUNode number, AudioComponentDescription* description, AudioUnit* unit) {
    const std::lock_guard lock(mMutex);
    const Node* node = find(number);
    if (node == nullptr) {
        return kAUGraphErr_NodeNotFound;
    }
    if (description != nullptr) {
        *description = node->description;
    }
    if (unit != nullptr) {
        *unit = node->unit;
    }
    return 0;
}

bool Graph::leadsTo(AUNode from, AUNode to) const {
    return from == to || std::ranges::any_of(mConnections, [&](const Connection& one) {
               return one.source == from && leadsTo(one.destination, to);
           });
}

OSStatus Graph::connect(AUNode source, UInt32 sourceOutput, AUNode destination, UInt32 destinationInput) {
    const std::lock_guard lock(mMutex);
    const Node* from = find(source);
    const Node* to = find(destination);
    if (from == nullptr || to == nullptr) {
        return kAUGraphErr_NodeNotFound;
    }
    const bool isTaken = std::ranges::any_of(mConnections, [&](const Connection& one) {
        return (one.destination == destination && one.destinationInput == destinationInput) ||
               (one.source == source && one.sourceOutput == sourceOutput);
    });
    if (isTaken || isOutput(from->description) || leadsTo(destination, source) || sourceOutput != 0 ||
        destinationInput != 0) {
        return kAUGraphErr_InvalidConnection;
    }
    if (mIsInitialized) {
        return kAudioUnitErr_Initialized;
    }
    mConnections.push_back({source, sourceOutput, destination, destinationInput});
    return 0;
}

// Each unit after those that it pulls from: the number of connections from a node to the output decreases along the
// way.
std::vector<Graph::Node*> Graph::inOrderOfConnections() {
    std::vector<Node*> ordered;
    for (Node& node : mNodes) {
        const auto pullsFromIt = [&](const Node* other) { return leadsTo(node.number, other->number); };
        ordered.insert(std::ranges::find_if(ordered, pullsFromIt), &node);
    }
    return ordered;
}

OSStatus Graph::applyConnections() {
    for (const Connection& connection : mConnections) {
        const AudioUnitConnection made{find(connection.source)->unit, connection.sourceOutput,
                                       connection.destinationInput};
        if (const OSStatus status =
                AudioUnitSetProperty(find(connection.destination)->unit, kAudioUnitProperty_MakeConnection,
                                     kAudioUnitScope_Input, connection.destinationInput, &made, sizeof(made))) {
            return status;
        }
    }
    return 0;
}

OSStatus Graph::initialize() {
    const std::lock_guard lock(mMutex);
    if (mIsInitialized) {
        return 0;
    }
    if (!mIsOpen) {
        return kAudioUnitErr_Uninitialized;
    }
    if (outputNode() == nullptr) {
        return kAUGraphErr_OutputNodeErr;
    }
    OSStatus status = applyConnections();
    for (const Node* node : inOrderOfConnections()) {
        status = status != 0 ? status : AudioUnitInitialize(node->unit);
    }
    mIsInitialized = true;
    if (status != 0) {
        uninitializeNodes();
    }
    return status;
}

// The output first: while it runs, it pulls from the others.
OSStatus Graph::uninitializeNodes() {
    OSStatus status = 0;
    if (mIsInitialized) {
        auto nodes = inOrderOfConnections();
        std::ranges::reverse(nodes);
        for (const Node* node : nodes) {
            status = firstOf(status, AudioUnitUninitialize(node->unit));
        }
        mIsInitialized = false;
    }
    return status;
}

OSStatus Graph::uninitialize() {
    const std::lock_guard lock(mMutex);
    return uninitializeNodes();
}

OSStatus Graph::start() {
    const std::lock_guard lock(mMutex);
    const Node* output = outputNode();
    if (output == nullptr) {
        return kAUGraphErr_OutputNodeErr;
    }
    return mIsInitialized ? AudioOutputUnitStart(output->unit) : kAudioUnitErr_Uninitialized;
}

OSStatus Graph::stop() {
    const std::lock_guard lock(mMutex);
    const Node* output = outputNode();
    if (output == nullptr) {
        return kAUGraphErr_OutputNodeErr;
    }
    return mIsInitialized ? AudioOutputUnitStop(output->unit) : kAudioUnitErr_Uninitialized;
}

} // namespace braq
